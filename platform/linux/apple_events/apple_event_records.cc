#include <algorithm>
#include <new>
#include <utility>

#include "platform/managers/apple_events.h"

namespace tessary {
namespace {

constexpr size_t kNotFound = static_cast<size_t>(-1);

// Returns the index of the item with the keyword, or kNotFound.
size_t FindKeyword(const std::vector<AEKeyDesc>& items, AEKeyword keyword) {
  const auto found = std::ranges::find(items, keyword, &AEKeyDesc::keyword);
  return found == items.end() ? kNotFound : static_cast<size_t>(found - items.begin());
}

// Replaces the item at index `place`, or appends the item if there is no such index.
Status PutItem(std::vector<AEKeyDesc>* items, size_t place, AEKeyword keyword,
               const AEDesc& value) {
  // The copy may throw. Made first, it leaves the list unchanged then.
  try {
    AEKeyDesc item = {keyword, value};
    if (place < items->size()) {
      (*items)[place] = std::move(item);
    } else {
      items->push_back(std::move(item));
    }
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

Status CopyBytes(const AEDesc& value, DescType* actualType, void* data, size_t maximum,
                 size_t* actualSize) {
  const Status status = AEGetDescData(value, data, maximum);
  if (status != noErr) return status;
  if (actualType != nullptr) *actualType = value.descriptorType;
  if (actualSize != nullptr) *actualSize = AEGetDescDataSize(value);
  return noErr;
}

}  // namespace

Status AECreateList(bool isRecord, AEDesc* list) {
  if (list == nullptr) return paramErr;
  *list = AEDesc();
  list->descriptorType = isRecord ? typeAERecord : typeAEList;
  list->form = isRecord ? AEDesc::Form::kRecord : AEDesc::Form::kList;
  return noErr;
}

Status AECountItems(const AEDesc& list, size_t* count) {
  if (count == nullptr) return paramErr;
  if (list.form == AEDesc::Form::kBytes) return errAEWrongDataType;
  *count = list.items.size();
  return noErr;
}

Status AEPutDesc(AEDesc* list, size_t index, const AEDesc& item) {
  if (list == nullptr) return paramErr;
  if (list->form != AEDesc::Form::kList) return errAEWrongDataType;
  const size_t next = list->items.size() + 1;
  if (index > next) return errAEIllegalIndex;
  return PutItem(&list->items, (index == 0 ? next : index) - 1, 0, item);
}

Status AEGetNthDesc(const AEDesc& list, size_t index, DescType desiredType, AEKeyword* keyword,
                    AEDesc* item) {
  if (item == nullptr) return paramErr;
  if (list.form == AEDesc::Form::kBytes) return errAEWrongDataType;
  if (index == 0 || index > list.items.size()) return errAEDescNotFound;
  const AEKeyDesc& found = list.items[index - 1];
  const Status status = AECoerceDesc(found.value, desiredType, item);
  if (status == noErr && keyword != nullptr) *keyword = found.keyword;
  return status;
}

Status AEPutPtr(AEDesc* list, size_t index, DescType type, const void* data, size_t size) {
  AEDesc item;
  const Status status = AECreateDesc(type, data, size, &item);
  return status == noErr ? AEPutDesc(list, index, item) : status;
}

Status AEGetNthPtr(const AEDesc& list, size_t index, DescType desiredType, AEKeyword* keyword,
                   DescType* actualType, void* data, size_t maximum, size_t* actualSize) {
  AEDesc item;
  const Status status = AEGetNthDesc(list, index, desiredType, keyword, &item);
  return status == noErr ? CopyBytes(item, actualType, data, maximum, actualSize) : status;
}

Status AEPutKeyDesc(AEDesc* record, AEKeyword keyword, const AEDesc& value) {
  if (record == nullptr) return paramErr;
  if (record->form != AEDesc::Form::kRecord) return errAEWrongDataType;
  return PutItem(&record->items, FindKeyword(record->items, keyword), keyword, value);
}

Status AEGetKeyDesc(const AEDesc& record, AEKeyword keyword, DescType desiredType, AEDesc* value) {
  if (value == nullptr) return paramErr;
  if (record.form != AEDesc::Form::kRecord) return errAEWrongDataType;
  const size_t place = FindKeyword(record.items, keyword);
  if (place == kNotFound) return errAEDescNotFound;
  return AECoerceDesc(record.items[place].value, desiredType, value);
}

Status AEGetParamPtr(const AppleEvent& event, AEKeyword keyword, DescType desiredType,
                     DescType* actualType, void* data, size_t maximum, size_t* actualSize) {
  AEDesc value;
  const Status status = AEGetParamDesc(event, keyword, desiredType, &value);
  return status == noErr ? CopyBytes(value, actualType, data, maximum, actualSize) : status;
}

Status AEGetAttributeDesc(const AppleEvent& event, AEKeyword keyword, DescType desiredType,
                          AEDesc* value) {
  if (value == nullptr) return paramErr;
  const size_t place = FindKeyword(event.attributes, keyword);
  if (place == kNotFound) return errAEDescNotFound;
  return AECoerceDesc(event.attributes[place].value, desiredType, value);
}

}  // namespace tessary
