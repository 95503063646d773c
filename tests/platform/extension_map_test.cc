#include "platform/extension_map.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/managers/bundle.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

void BuildFrom(const PreferencesFolder& preferences, const std::string& lines) {
  WriteFile(preferences.MappingPath(), lines);
  BuildExtensionMap();
}

TEST(BuildExtensionMap, HoldsBuiltInTypes) {
  const PreferencesFolder preferences;
  BuildExtensionMap();
  EXPECT_EQ(u"TEXT", LookUpExtensionType(u"txt"));
  EXPECT_EQ(u"JPEG", LookUpExtensionType(u"jpg"));
  EXPECT_EQ(u"PDF ", LookUpExtensionType(u"pdf"));
  EXPECT_EQ(std::nullopt, LookUpExtensionType(u"qqq"));
  EXPECT_EQ(std::nullopt, LookUpExtensionType(u""));
}

TEST(BuildExtensionMap, KeepsSpelling) {
  const PreferencesFolder preferences;
  BuildFrom(preferences, ".QQQ \"TEXT\"\n");
  EXPECT_EQ(u"TEXT", LookUpExtensionType(u"QQQ"));
  EXPECT_EQ(std::nullopt, LookUpExtensionType(u"qqq"));
}

TEST(BuildExtensionMap, LaterEntryReplacesEarlier) {
  const PreferencesFolder preferences;
  BuildFrom(preferences, ".jpg \"ONE \"\njpg \"TWO \"\n");
  EXPECT_EQ(u"TWO ", LookUpExtensionType(u"jpg"));
  BuildFrom(preferences, "jpg \"TWO \"\n.jpg \"ONE \"\n");
  EXPECT_EQ(u"ONE ", LookUpExtensionType(u"jpg"));
  EXPECT_EQ(std::nullopt, LookUpExtensionType(u".jpg"));
}

TEST(BuildExtensionMap, RemovesOneLeadingDot) {
  const PreferencesFolder preferences;
  BuildFrom(preferences, "..two \"TEXT\"\n");
  EXPECT_EQ(u"TEXT", LookUpExtensionType(u".two"));
  EXPECT_EQ(std::nullopt, LookUpExtensionType(u"two"));
}

TEST(BuildExtensionMap, IgnoresZeroType) {
  const PreferencesFolder preferences;
  BuildFrom(preferences, ".qqq \"\"\n.txt \"\"\n");
  EXPECT_EQ(std::nullopt, LookUpExtensionType(u"qqq"));
  EXPECT_EQ(u"TEXT", LookUpExtensionType(u"txt"));
}

TEST(BuildExtensionMap, DecodesUtf8) {
  const PreferencesFolder preferences;
  BuildFrom(preferences, ".e \"\xC3\xA9\xC3\xA9\"\n.\xC3\xA9 \"TEXT\"\n");
  EXPECT_EQ(u"\u00E9\u00E9", LookUpExtensionType(u"e"));
  EXPECT_EQ(u"TEXT", LookUpExtensionType(u"\u00E9"));
}

TEST(BuildExtensionMap, SkipsInvalidLines) {
  const PreferencesFolder preferences;
  BuildFrom(preferences, ".qqq TEXT\n.\xE9 \"TEXT\"\n.good \"GOOD\"");
  EXPECT_EQ(std::nullopt, LookUpExtensionType(u"qqq"));
  EXPECT_EQ(u"GOOD", LookUpExtensionType(u"good"));
}

TEST(BuildExtensionMap, ReplacesMap) {
  const PreferencesFolder preferences;
  BuildFrom(preferences, ".qqq \"TEXT\"\n");
  BuildFrom(preferences, "");
  EXPECT_EQ(std::nullopt, LookUpExtensionType(u"qqq"));
  EXPECT_EQ(u"TEXT", LookUpExtensionType(u"txt"));
}

TEST(BuildExtensionMap, IgnoresUnreadableFile) {
  const PreferencesFolder preferences;
  MakeFolder(preferences.MappingPath());
  BuildExtensionMap();
  EXPECT_EQ(u"TEXT", LookUpExtensionType(u"txt"));
}

TEST(GetAppSignature, ReturnsFirstFourBytes) {
  const struct {
    std::string text;
    uint32_t signature;
  } rows[] = {
      {"TsRy", 0x54735279},
      {"TsRy and more", 0x54735279},
      {"Ts", 0x54730000},
      {"", 0},
      {std::string(254, 'a'), 0x61616161},
      {std::string(255, 'a'), 0},
  };
  for (const auto& row : rows) {
    SetMainBundleInfoDictionary({{"CFBundleSignature", row.text}});
    EXPECT_EQ(row.signature, GetAppSignature()) << row.text;
  }
  SetMainBundleInfoDictionary({{"CFBundleName", "Tessary"}});
  EXPECT_EQ(0U, GetAppSignature());
  SetMainBundleInfoDictionary({});
  EXPECT_EQ(0U, GetAppSignature());
}

}  // namespace
}  // namespace tessary::test
