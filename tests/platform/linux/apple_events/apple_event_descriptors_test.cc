#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
#include <string>

#include "platform/managers/apple_events.h"
#include "tests/support/apple_events.h"

namespace tessary::test {
namespace {

// Descriptors are in host byte order; the bytes written here are a little-endian host's.
static_assert(std::endian::native == std::endian::little);

TEST(FourCharCode, FirstCharacterIsHighestByte) {
  EXPECT_EQ(0x6D'61'63'73U, FourCharCode("macs"));
  EXPECT_EQ(0x6F'62'6A'20U, FourCharCode("obj "));
}

TEST(AEDesc, DefaultIsNull) { EXPECT_EQ("null[]", Describe(AEDesc())); }

TEST(AECreateDesc, CopiesBytes) {
  EXPECT_EQ("shor[fe ff]", Describe(MakeShort(-2)));
  EXPECT_EQ("long[03 02 01 00]", Describe(MakeLong(0x010203)));
  EXPECT_EQ("type[74 6d 6f 63]", Describe(MakeCode(typeType, FourCharCode("comt"))));
  EXPECT_EQ("utxt[41 00 e9 00 3d d8 00 de]", Describe(MakeText(u"A\u00e9\U0001F600")));
  EXPECT_EQ("utxt[]", Describe(MakeText(u"")));
}

TEST(AECreateDesc, AcceptsNullDataOfSizeZero) {
  AEDesc desc = MakeShort(1);
  EXPECT_EQ(noErr, AECreateDesc(typeUnicodeText, nullptr, 0, &desc));
  EXPECT_EQ("utxt[]", Describe(desc));
}

TEST(AECreateDesc, RejectsMissingArguments) {
  AEDesc desc = MakeShort(1);
  EXPECT_EQ(paramErr, AECreateDesc(typeSInt16, nullptr, 2, &desc));
  EXPECT_EQ("shor[01 00]", Describe(desc));
  EXPECT_EQ(paramErr, AECreateDesc(typeSInt16, "ab", 2, nullptr));
}

TEST(AEGetDescData, CopiesAtMostMaximum) {
  std::array<char, 5> data = {'x', 'x', 'x', 'x', '\0'};
  const AEDesc desc = MakeUtf8Text("abc");
  EXPECT_EQ(3U, AEGetDescDataSize(desc));
  EXPECT_EQ(noErr, AEGetDescData(desc, data.data(), 2));
  EXPECT_STREQ("abxx", data.data());
  EXPECT_EQ(noErr, AEGetDescData(desc, data.data(), 4));
  EXPECT_STREQ("abcx", data.data());
  EXPECT_EQ(noErr, AEGetDescData(AEDesc(), data.data(), 4));
  EXPECT_STREQ("abcx", data.data());
}

TEST(AEGetDescData, RejectsListsRecordsAndNullBuffer) {
  char data = 'x';
  AEDesc list;
  ASSERT_EQ(noErr, AECreateList(false, &list));
  EXPECT_EQ(errAEWrongDataType, AEGetDescData(list, &data, 1));
  EXPECT_EQ(0U, AEGetDescDataSize(list));
  ASSERT_EQ(noErr, AECreateList(true, &list));
  EXPECT_EQ(errAEWrongDataType, AEGetDescData(list, &data, 1));
  EXPECT_EQ(paramErr, AEGetDescData(MakeShort(1), nullptr, 2));
  EXPECT_EQ('x', data);
}

struct CoercionRow {
  AEDesc desc;
  DescType type;
  const char* result = "";
};

TEST(AECoerceDesc, ConvertsTypes) {
  const std::array rows = {
      CoercionRow{MakeText(u"\xD800"), typeUnicodeText, "utxt[00 d8]"},
      CoercionRow{MakeText(u""), typeUnicodeText, "utxt[]"},
      CoercionRow{MakeUtf8Text("\xC3\xA9"), typeUnicodeText, "utxt[e9 00]"},
      CoercionRow{MakeUtf8Text("\xFF"), typeUnicodeText, "utxt[ff dc]"},
      CoercionRow{MakeUtf8Text(""), typeUnicodeText, "utxt[]"},
      CoercionRow{MakeText(u"\u00e9\xDCFF"), typeUTF8Text, "utf8[c3 a9 ff]"},
      CoercionRow{MakeText(u""), typeUTF8Text, "utf8[]"},
      CoercionRow{MakeShort(-43), typeSInt16, "shor[d5 ff]"},
      CoercionRow{MakeShort(-43), typeSInt32, "long[d5 ff ff ff]"},
      CoercionRow{MakeLong(-32768), typeSInt16, "shor[00 80]"},
      CoercionRow{MakeLong(32767), typeSInt16, "shor[ff 7f]"},
      CoercionRow{MakeLong(1), typeWildCard, "long[01 00 00 00]"},
      CoercionRow{AEDesc(), typeUnicodeText, "null[]"},
      CoercionRow{AEDesc(), typeSInt16, "null[]"},
      CoercionRow{AEDesc(), typeNull, "null[]"},
  };
  for (const CoercionRow& row : rows) {
    AEDesc result = MakeCode(typeType, 0);
    EXPECT_EQ(noErr, AECoerceDesc(row.desc, row.type, &result)) << row.result;
    EXPECT_EQ(row.result, Describe(result));
  }
}

TEST(AECoerceDesc, RejectsImpossibleConversions) {
  AEDesc list;
  ASSERT_EQ(noErr, AECreateList(false, &list));
  AEDesc longShort = MakeUtf8Text("abc");
  longShort.descriptorType = typeSInt16;
  AEDesc shortLong = MakeUtf8Text("abc");
  shortLong.descriptorType = typeSInt32;
  const std::array rows = {
      CoercionRow{MakeText(u"1"), typeSInt16},
      CoercionRow{MakeShort(1), typeUnicodeText},
      CoercionRow{MakeLong(32768), typeSInt16},
      CoercionRow{MakeLong(-32769), typeSInt16},
      CoercionRow{MakeCode(typeType, FourCharCode("comt")), typeUnicodeText},
      CoercionRow{MakeCode(typeType, FourCharCode("comt")), typeEnumerated},
      CoercionRow{list, typeUnicodeText},
      CoercionRow{list, typeAERecord},
      CoercionRow{longShort, typeSInt32},
      CoercionRow{shortLong, typeSInt16},
  };
  for (const CoercionRow& row : rows) {
    AEDesc result = MakeShort(7);
    EXPECT_EQ(errAECoercionFail, AECoerceDesc(row.desc, row.type, &result)) << Describe(row.desc);
    EXPECT_EQ("shor[07 00]", Describe(result));
  }
  EXPECT_EQ(paramErr, AECoerceDesc(AEDesc(), typeNull, nullptr));
}

TEST(AECoerceDesc, DropsOddLastByteOfText) {
  AEDesc text = MakeUtf8Text("a");
  text.bytes = {'a', 0, 'b'};
  text.descriptorType = typeUnicodeText;
  AEDesc result;
  EXPECT_EQ(noErr, AECoerceDesc(text, typeUTF8Text, &result));
  EXPECT_EQ("utf8[61]", Describe(result));
}

TEST(AECoerceDesc, WorksInPlace) {
  AEDesc desc = MakeLong(5);
  EXPECT_EQ(noErr, AECoerceDesc(desc, typeWildCard, &desc));
  EXPECT_EQ("long[05 00 00 00]", Describe(desc));
  EXPECT_EQ(noErr, AECoerceDesc(desc, typeSInt16, &desc));
  EXPECT_EQ("shor[05 00]", Describe(desc));
}

}  // namespace
}  // namespace tessary::test
