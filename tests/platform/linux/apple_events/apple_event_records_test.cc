#include <gtest/gtest.h>

#include <string>

#include "platform/managers/apple_events.h"
#include "tests/support/apple_events.h"
#include "tests/support/fault_injection/failing_allocations.h"

namespace tessary::test {
namespace {

constexpr AEKeyword kFirst = FourCharCode("frst");
constexpr AEKeyword kSecond = FourCharCode("scnd");

AEDesc MakeList(std::initializer_list<int16_t> numbers) {
  AEDesc list;
  EXPECT_EQ(noErr, AECreateList(false, &list));
  for (const int16_t number : numbers) EXPECT_EQ(noErr, AEPutDesc(&list, 0, MakeShort(number)));
  return list;
}

AEDesc MakeRecord() {
  AEDesc record;
  EXPECT_EQ(noErr, AECreateList(true, &record));
  EXPECT_EQ(noErr, AEPutKeyDesc(&record, kFirst, MakeShort(1)));
  EXPECT_EQ(noErr, AEPutKeyDesc(&record, kSecond, MakeLong(2)));
  return record;
}

TEST(AECreateList, CreatesEmptyListOrRecord) {
  AEDesc list = MakeShort(1);
  EXPECT_EQ(noErr, AECreateList(false, &list));
  EXPECT_EQ("list()", Describe(list));
  EXPECT_EQ(noErr, AECreateList(true, &list));
  EXPECT_EQ("reco{}", Describe(list));
  EXPECT_EQ(paramErr, AECreateList(false, nullptr));
}

TEST(AEPutDesc, AppendsAndReplaces) {
  AEDesc list = MakeList({1, 2});
  EXPECT_EQ("list(shor[01 00] shor[02 00])", Describe(list));
  EXPECT_EQ(noErr, AEPutDesc(&list, 1, MakeShort(5)));
  EXPECT_EQ(noErr, AEPutDesc(&list, 3, MakeShort(3)));
  EXPECT_EQ("list(shor[05 00] shor[02 00] shor[03 00])", Describe(list));
}

TEST(AEPutDesc, RejectsGapsAndNonLists) {
  AEDesc list = MakeList({1});
  EXPECT_EQ(errAEIllegalIndex, AEPutDesc(&list, 3, MakeShort(3)));
  EXPECT_EQ("list(shor[01 00])", Describe(list));
  AEDesc record = MakeRecord();
  EXPECT_EQ(errAEWrongDataType, AEPutDesc(&record, 0, MakeShort(3)));
  AEDesc number = MakeShort(1);
  EXPECT_EQ(errAEWrongDataType, AEPutDesc(&number, 0, MakeShort(3)));
  EXPECT_EQ(paramErr, AEPutDesc(nullptr, 0, MakeShort(3)));
}

TEST(AEPutDesc, CopiesListIntoItself) {
  AEDesc list = MakeList({1});
  EXPECT_EQ(noErr, AEPutDesc(&list, 0, list));
  EXPECT_EQ("list(shor[01 00] list(shor[01 00]))", Describe(list));
}

TEST(AECountItems, CountsListsRecordsAndEvents) {
  size_t count = 7;
  EXPECT_EQ(noErr, AECountItems(MakeList({}), &count));
  EXPECT_EQ(0U, count);
  EXPECT_EQ(noErr, AECountItems(MakeList({1, 2, 3}), &count));
  EXPECT_EQ(3U, count);
  EXPECT_EQ(noErr, AECountItems(MakeRecord(), &count));
  EXPECT_EQ(2U, count);
  EXPECT_EQ(errAEWrongDataType, AECountItems(AEDesc(), &count));
  EXPECT_EQ(2U, count);
  EXPECT_EQ(paramErr, AECountItems(MakeRecord(), nullptr));
}

TEST(AEGetNthDesc, CountsFromOneAndCoerces) {
  const AEDesc list = MakeList({1, 2});
  AEDesc item;
  AEKeyword keyword = 7;
  EXPECT_EQ(noErr, AEGetNthDesc(list, 2, typeSInt32, &keyword, &item));
  EXPECT_EQ("long[02 00 00 00]", Describe(item));
  EXPECT_EQ(0U, keyword);
  EXPECT_EQ(noErr, AEGetNthDesc(MakeRecord(), 2, typeWildCard, &keyword, &item));
  EXPECT_EQ(kSecond, keyword);
  EXPECT_EQ(noErr, AEGetNthDesc(list, 1, typeWildCard, nullptr, &item));
  EXPECT_EQ("shor[01 00]", Describe(item));
}

TEST(AEGetNthDesc, RejectsMissingIndexAndType) {
  const AEDesc list = MakeList({1, 2});
  AEDesc item = MakeShort(9);
  AEKeyword keyword = 7;
  EXPECT_EQ(errAEDescNotFound, AEGetNthDesc(list, 0, typeWildCard, &keyword, &item));
  EXPECT_EQ(errAEDescNotFound, AEGetNthDesc(list, 3, typeWildCard, &keyword, &item));
  EXPECT_EQ(errAECoercionFail, AEGetNthDesc(list, 1, typeUnicodeText, &keyword, &item));
  EXPECT_EQ(errAEWrongDataType, AEGetNthDesc(item, 1, typeWildCard, &keyword, &item));
  EXPECT_EQ(paramErr, AEGetNthDesc(list, 1, typeWildCard, &keyword, nullptr));
  EXPECT_EQ("shor[09 00]", Describe(item));
  EXPECT_EQ(7U, keyword);
}

TEST(AEPutKeyDesc, ReplacesFieldWithKeyword) {
  AEDesc record = MakeRecord();
  EXPECT_EQ("reco{frst=shor[01 00] scnd=long[02 00 00 00]}", Describe(record));
  EXPECT_EQ(noErr, AEPutKeyDesc(&record, kFirst, AEDesc()));
  EXPECT_EQ("reco{frst=null[] scnd=long[02 00 00 00]}", Describe(record));
}

TEST(AEPutKeyDesc, RejectsNonRecords) {
  AEDesc list = MakeList({});
  EXPECT_EQ(errAEWrongDataType, AEPutKeyDesc(&list, kFirst, AEDesc()));
  AEDesc null;
  EXPECT_EQ(errAEWrongDataType, AEPutKeyDesc(&null, kFirst, AEDesc()));
  EXPECT_EQ(paramErr, AEPutKeyDesc(nullptr, kFirst, AEDesc()));
}

TEST(AEGetKeyDesc, FindsAndCoerces) {
  AEDesc value;
  EXPECT_EQ(noErr, AEGetKeyDesc(MakeRecord(), kSecond, typeSInt16, &value));
  EXPECT_EQ("shor[02 00]", Describe(value));
}

TEST(AEGetKeyDesc, ReportsMissingFieldAndWrongType) {
  AEDesc value = MakeShort(9);
  EXPECT_EQ(errAEDescNotFound,
            AEGetKeyDesc(MakeRecord(), FourCharCode("thrd"), typeWildCard, &value));
  EXPECT_EQ(errAECoercionFail, AEGetKeyDesc(MakeRecord(), kFirst, typeUnicodeText, &value));
  EXPECT_EQ(errAEWrongDataType, AEGetKeyDesc(MakeList({1}), kFirst, typeWildCard, &value));
  EXPECT_EQ(paramErr, AEGetKeyDesc(MakeRecord(), kFirst, typeWildCard, nullptr));
  EXPECT_EQ("shor[09 00]", Describe(value));
}

TEST(AEGetParamPtr, CopiesWhatFitsAndReturnsFullSize) {
  int16_t number = 7;
  DescType type = 0;
  size_t size = 0;
  EXPECT_EQ(noErr, AEGetParamPtr(MakeRecord(), kSecond, typeSInt16, &type, &number, 2, &size));
  EXPECT_EQ(2, number);
  EXPECT_EQ(typeSInt16, type);
  EXPECT_EQ(2U, size);
  number = 0x7777;
  EXPECT_EQ(noErr, AEGetParamPtr(MakeRecord(), kSecond, typeSInt32, nullptr, &number, 1, &size));
  EXPECT_EQ(0x7702, number);
  EXPECT_EQ(4U, size);
}

TEST(AEGetParamPtr, WritesNothingOnError) {
  AEDesc record = MakeRecord();
  ASSERT_EQ(noErr, AEPutKeyDesc(&record, FourCharCode("list"), MakeList({1})));
  int16_t number = 7;
  DescType type = 8;
  size_t size = 9;
  const auto get = [&](AEKeyword keyword, DescType desired) {
    return AEGetParamPtr(record, keyword, desired, &type, &number, sizeof(number), &size);
  };
  EXPECT_EQ(errAEDescNotFound, get(keyErrorNumber, typeSInt16));
  EXPECT_EQ(errAECoercionFail, get(kFirst, typeUnicodeText));
  EXPECT_EQ(errAEWrongDataType, get(FourCharCode("list"), typeWildCard));
  EXPECT_EQ(paramErr, AEGetParamPtr(record, kFirst, typeSInt16, &type, nullptr, 2, &size));
  EXPECT_EQ(7, number);
  EXPECT_EQ(8U, type);
  EXPECT_EQ(9U, size);
}

TEST(AEGetNthPtr, ReturnsBytesAndType) {
  AEDesc list;
  ASSERT_EQ(noErr, AECreateList(false, &list));
  ASSERT_EQ(noErr, AEPutPtr(&list, 1, typeUTF8Text, "abcd", 4));
  EXPECT_EQ(errAEIllegalIndex, AEPutPtr(&list, 3, typeUTF8Text, "abcd", 4));
  EXPECT_EQ(paramErr, AEPutPtr(&list, 2, typeUTF8Text, nullptr, 4));
  EXPECT_EQ(paramErr, AEPutPtr(nullptr, 1, typeUTF8Text, "abcd", 4));
  char bytes[3] = {};
  DescType type = typeNull;
  AEKeyword keyword = 1;
  size_t size = 0;
  EXPECT_EQ(noErr, AEGetNthPtr(list, 1, typeWildCard, &keyword, &type, bytes, 3, &size));
  EXPECT_EQ("abc", std::string(bytes, 3));
  EXPECT_EQ(typeUTF8Text, type);
  EXPECT_EQ(0U, keyword);
  EXPECT_EQ(4U, size);
  EXPECT_EQ(errAEDescNotFound,
            AEGetNthPtr(list, 2, typeWildCard, nullptr, nullptr, bytes, 3, nullptr));
  EXPECT_EQ(errAECoercionFail,
            AEGetNthPtr(list, 1, typeFSRef, nullptr, nullptr, bytes, 3, nullptr));
  EXPECT_EQ(paramErr, AEGetNthPtr(list, 1, typeWildCard, nullptr, nullptr, nullptr, 3, nullptr));
}

TEST(AEPutDesc, OutOfMemory) {
  const AEDesc text = MakeText(u"a text that takes some room");
  AEDesc list;
  AEDesc record;
  ASSERT_EQ(noErr, AECreateList(false, &list));
  ASSERT_EQ(noErr, AECreateList(true, &record));
  ExpectMemFullOnFailedAllocations([&] { return AEPutDesc(&list, 0, text); },
                                   [&] { EXPECT_EQ("list()", Describe(list)); });
  ExpectMemFullOnFailedAllocations([&] { return AEPutKeyDesc(&record, 1, text); },
                                   [&] { EXPECT_EQ("reco{}", Describe(record)); });
}

TEST(AECoerceDesc, OutOfMemory) {
  const AEDesc text = MakeUtf8Text("a text that takes some room");
  AEDesc made;
  const auto isUntouched = [&] { EXPECT_EQ("null[]", Describe(made)); };
  for (const DescType type : {typeUTF8Text, typeUnicodeText, typeAEList}) {
    made = AEDesc();
    ExpectMemFullOnFailedAllocations([&] { return AECoerceDesc(text, type, &made); }, isUntouched);
  }
}

}  // namespace
}  // namespace tessary::test
