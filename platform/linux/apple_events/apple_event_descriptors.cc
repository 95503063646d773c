#include <cstring>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "platform/linux/catalog/aliases.h"
#include "platform/managers/apple_events.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

Status MakeUtf16(const AEDesc& utf8, AEDesc* result) {
  const std::string_view text(reinterpret_cast<const char*>(utf8.bytes.data()), utf8.bytes.size());
  const std::u16string units = Utf16FromUtf8(text);
  return AECreateDesc(typeUnicodeText, units.data(), units.size() * sizeof(char16_t), result);
}

Status MakeUtf8(const AEDesc& utf16, AEDesc* result) {
  std::u16string units(utf16.bytes.size() / sizeof(char16_t), u'\0');
  // Copied, because the bytes of a descriptor are not aligned for 16-bit units.
  if (!units.empty()) {
    std::memcpy(units.data(), utf16.bytes.data(), units.size() * sizeof(char16_t));
  }
  const std::string text = Utf8FromUtf16(units);
  return AECreateDesc(typeUTF8Text, text.data(), text.size(), result);
}

// Converts an integer to another size. errAECoercionFail if the value is out of range.
template <typename From, typename To>
Status MakeNumber(const AEDesc& desc, DescType toType, AEDesc* result) {
  From number = 0;
  if (desc.bytes.size() != sizeof(number)) return errAECoercionFail;
  std::memcpy(&number, desc.bytes.data(), sizeof(number));
  if (number < std::numeric_limits<To>::min() || number > std::numeric_limits<To>::max()) {
    return errAECoercionFail;
  }
  const auto converted = static_cast<To>(number);
  return AECreateDesc(toType, &converted, sizeof(converted), result);
}

Status MakeRef(const AEDesc& alias, AEDesc* result) {
  FSRef target;
  const Status status = FollowAlias(alias.bytes, &target);
  return status == noErr ? AECreateDesc(typeFSRef, &target, sizeof(target), result) : status;
}

Status MakeList(const AEDesc& item, AEDesc* result) {
  AEDesc list;
  Status status = AECreateList(false, &list);
  if (status == noErr) status = AEPutDesc(&list, 0, item);
  if (status == noErr) *result = std::move(list);
  return status;
}

bool IsCoercion(const AEDesc& desc, DescType toType, DescType from, DescType to) {
  return desc.descriptorType == from && toType == to;
}

Status Coerce(const AEDesc& desc, DescType toType, AEDesc* result) {
  const DescType type = desc.descriptorType;
  // The null descriptor, "no value", stands for every type.
  if (type == toType || toType == typeWildCard || type == typeNull) {
    *result = AEDesc(desc);
    return noErr;
  }
  if (IsCoercion(desc, toType, typeUTF8Text, typeUnicodeText)) return MakeUtf16(desc, result);
  if (IsCoercion(desc, toType, typeUnicodeText, typeUTF8Text)) return MakeUtf8(desc, result);
  if (IsCoercion(desc, toType, typeSInt16, typeSInt32)) {
    return MakeNumber<int16_t, int32_t>(desc, toType, result);
  }
  if (IsCoercion(desc, toType, typeSInt32, typeSInt16)) {
    return MakeNumber<int32_t, int16_t>(desc, toType, result);
  }
  if (IsCoercion(desc, toType, typeAlias, typeFSRef)) return MakeRef(desc, result);
  if (toType == typeAEList && desc.form == AEDesc::Form::kBytes) return MakeList(desc, result);
  return errAECoercionFail;
}

}  // namespace

Status AECreateDesc(DescType type, const void* data, size_t size, AEDesc* desc) {
  if (desc == nullptr || (data == nullptr && size > 0)) return paramErr;
  const auto* bytes = static_cast<const unsigned char*>(data);
  try {
    AEDesc made;
    made.descriptorType = type;
    if (size > 0) made.bytes.assign(bytes, bytes + size);
    *desc = std::move(made);
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

size_t AEGetDescDataSize(const AEDesc& desc) { return desc.bytes.size(); }

Status AEGetDescData(const AEDesc& desc, void* data, size_t maximum) {
  if (desc.form != AEDesc::Form::kBytes) return errAEWrongDataType;
  if (data == nullptr) return paramErr;
  const size_t size = std::min(maximum, desc.bytes.size());
  if (size > 0) std::memcpy(data, desc.bytes.data(), size);
  return noErr;
}

Status AECoerceDesc(const AEDesc& desc, DescType toType, AEDesc* result) {
  if (result == nullptr) return paramErr;
  try {
    return Coerce(desc, toType, result);
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

}  // namespace tessary
