#include <array>
#include <cstring>
#include <vector>

#include "platform/managers/apple_events.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/text.h"
#include "tests/fuzz/descriptors.h"
#include "tests/fuzz/fuzz.h"

// Descriptors of any type and bytes: an item that is put can be got, a reversible coercion restores
// the descriptor, and a failed call changes nothing.
namespace tessary::test {
namespace {

constexpr std::array<DescType, 12> kTypes = {
    typeNull,  typeWildCard, typeUTF8Text, typeUnicodeText, typeSInt16,          typeSInt32,
    typeFSRef, typeAlias,    typeAEList,   typeAERecord,    typeObjectSpecifier, typeType};

DescType TakeType(std::string_view* input) {
  const uint8_t choice = TakeInputByte(input);
  return choice < 0xF0 ? kTypes[choice % kTypes.size()] : DescType{choice} << 24U;
}

AEDesc TakeDesc(std::string_view* input) {
  const DescType type = TakeType(input);
  const size_t size = std::min<size_t>(TakeInputByte(input), input->size());
  AEDesc desc;
  Require(AECreateDesc(type, input->data(), size, &desc) == noErr, "a descriptor can be created");
  Require(AEGetDescDataSize(desc) == size, "a descriptor has the size of its bytes");
  input->remove_prefix(size);
  return desc;
}

void CheckCoercion(const AEDesc& desc, DescType type) {
  AEDesc coerced = desc;
  const Status status = AECoerceDesc(desc, type, &coerced);
  if (status != noErr) {
    Require(AreSame(coerced, desc), "a failed coercion writes nothing");
    return;
  }
  const bool isSame = type == desc.descriptorType || type == typeWildCard || type == typeNull;
  Require(!isSame || AreSame(coerced, desc), "a descriptor coerces to itself");
  const bool isNumber = type == typeSInt16 || type == typeSInt32;
  if (isSame || (!isNumber && type != typeUnicodeText)) return;
  AEDesc back;
  Require(AECoerceDesc(coerced, desc.descriptorType, &back) == noErr && AreSame(back, desc),
          "numbers and text survive a round trip through a coercion");
}

void CheckBytes(const AEDesc& desc) {
  std::vector<unsigned char> bytes(desc.bytes.size() + 4, 0xAA);
  for (const size_t maximum : {size_t{0}, desc.bytes.size() / 2, bytes.size()}) {
    const Status status = AEGetDescData(desc, bytes.data(), maximum);
    Require((status == noErr) == (desc.form == AEDesc::Form::kBytes), "only byte forms give bytes");
    const size_t copied = std::min(maximum, desc.bytes.size());
    Require(std::equal(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(copied),
                       desc.bytes.begin()),
            "the bytes are those of the descriptor");
    Require(bytes[desc.bytes.size()] == 0xAA, "nothing is written after the bytes");
  }
}

void PutIntoList(AEDesc* list, size_t index, const AEDesc& item) {
  const AEDesc before = *list;
  const Status status = AEPutDesc(list, index, item);
  size_t count = 0;
  if (status != noErr) {
    Require(AreSame(*list, before), "a failed put changes nothing");
    return;
  }
  Require(AECountItems(*list, &count) == noErr && count >= before.items.size() &&
              count <= before.items.size() + 1,
          "one item is put");
  AEDesc got;
  const size_t place = index == 0 ? count : index;
  Require(AEGetNthDesc(*list, place, typeWildCard, nullptr, &got) == noErr && AreSame(got, item),
          "an item that is put into a list can be got");
}

void PutIntoRecord(AEDesc* record, AEKeyword keyword, const AEDesc& item) {
  const AEDesc before = *record;
  if (AEPutKeyDesc(record, keyword, item) != noErr) {
    Require(AreSame(*record, before), "a failed put changes nothing");
    return;
  }
  AEDesc got;
  Require(AEGetKeyDesc(*record, keyword, typeWildCard, &got) == noErr && AreSame(got, item),
          "an item that is put into a record can be got");
  std::array<unsigned char, 8> bytes = {};
  size_t size = 0;
  const Status status =
      AEGetParamPtr(*record, keyword, typeWildCard, nullptr, bytes.data(), bytes.size(), &size);
  Require(status != noErr || size == item.bytes.size(), "a parameter has the size of its bytes");
}

}  // namespace

// The input is a sequence of descriptors: a type, a size and bytes, the type to coerce it to, the
// container to put it into, and an index or keyword.
void TryInput(std::string_view input) {
  const NSAutoreleasePool pool;
  AEDesc list, record;
  Require(AECreateList(false, &list) == noErr && AECreateList(true, &record) == noErr,
          "lists and records can be created");
  constexpr size_t kMaxItems = 64;
  for (size_t items = 0; !input.empty() && items < kMaxItems; ++items) {
    const AEDesc desc = TakeDesc(&input);
    CheckBytes(desc);
    CheckCoercion(desc, TakeType(&input));
    const uint8_t where = TakeInputByte(&input);
    const uint8_t number = TakeInputByte(&input);
    switch (where % 5U) {
      case 0:
        PutIntoList(&list, number, desc);
        break;
      case 1:
        PutIntoRecord(&record, number, desc);
        break;
      case 2:
        PutIntoList(&list, number, AEDesc(record));
        break;
      case 3:
        PutIntoRecord(&record, number, AEDesc(list));
        break;
      default:
        PutIntoList(&record, number, desc);
        PutIntoRecord(&list, number, desc);
        break;
    }
    CheckCoercion(list, TakeType(&input));
    // List and record may contain each other. Without a new list they would double in size each
    // time.
    if (where % 5U == 2 || where % 5U == 3) {
      Require(AECreateList(false, &list) == noErr, "a list can be created");
    }
  }
  CheckBytes(list);
  CheckBytes(record);
}

}  // namespace tessary::test
