#include "settings/preferences.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>
#include <vector>

#include "platform/managers/preferences_store.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

void ExpectDefaults() {
  EXPECT_EQ(kFileOperationCopy, GetFileOperation());
  EXPECT_EQ(AggregationKind::kExtension, GetAggregationKind());
  EXPECT_FALSE(GetQuitWhenDone());
  EXPECT_FALSE(GetRecurseFolders());
  EXPECT_FALSE(GetReplaceFilesBySameName());
  EXPECT_TRUE(GetAggregateAppResourcesOnly());
  EXPECT_FALSE(GetPreserveComments());
}

TEST(Preferences, DefaultsWithoutFile) {
  const PreferencesFolder folder;
  ExpectDefaults();
  EXPECT_FALSE(Exists(folder.PreferencesPath()));
}

TEST(Preferences, DefaultsForInvalidFile) {
  const PreferencesFolder folder;
  for (const char* text : {"", "# nothing\n", "FileOperation = 1\nRecurseFolders = = true\n",
                           "RecurseFolders = true\nRecurseFolders = true\n", "\xff\xfe"}) {
    folder.Write(text);
    SCOPED_TRACE(text);
    ExpectDefaults();
  }
}

TEST(Preferences, DefaultsForFolder) {
  const PreferencesFolder folder;
  MakeFolder(folder.PreferencesPath());
  ExpectDefaults();
}

struct NumberRow {
  const char* stored;
  int16_t expected;
};

TEST(GetFileOperation, ReturnsLow16Bits) {
  const std::vector<NumberRow> rows = {
      {"2", 2},     {"1", 1},       {"0", 0},          {"3", 3},
      {"-1", -1},   {"65538", 2},   {"65537", 1},      {"32768", -32768},
      {"0x2", 2},   {"0b1", 1},     {"-32769", 32767}, {"9223372036854775807", -1},
      {"\"1\"", 2}, {"true", 2},    {"false", 2},      {"1.0", 2},
      {"[1]", 2},   {"{a = 1}", 2}, {"1979-05-27", 2}, {"9223372036854775808", 2},
      {"nan", 2},   {"''", 2},
  };
  const PreferencesFolder folder;
  for (const NumberRow& row : rows) {
    folder.Write(std::string("FileOperation = ") + row.stored + "\n");
    EXPECT_EQ(row.expected, GetFileOperation()) << row.stored;
  }
}

TEST(GetFileOperation, TwoMeansCopy) {
  const PreferencesFolder folder;
  for (const char* stored : {"1", "0", "3"}) {
    folder.Write(std::string("FileOperation = ") + stored);
    EXPECT_NE(kFileOperationCopy, GetFileOperation()) << stored;
  }
  folder.Write("FileOperation = 2");
  EXPECT_EQ(kFileOperationCopy, GetFileOperation());
}

TEST(GetAggregationKind, ReturnsAnyNumber) {
  const std::vector<NumberRow> rows = {
      {"1", 1},        {"2", 2},     {"3", 3},    {"4", 4},   {"5", 5},
      {"7", 7},        {"0", 0},     {"-3", -3},  {"6", 6},   {"65537", 1},
      {"70000", 4464}, {"\"2\"", 1}, {"true", 1}, {"2.0", 1}, {"[2]", 1},
  };
  const PreferencesFolder folder;
  for (const NumberRow& row : rows) {
    folder.Write(std::string("TessaryType = ") + row.stored + "\n");
    EXPECT_EQ(row.expected, static_cast<int16_t>(GetAggregationKind())) << row.stored;
  }
}

struct BooleanRow {
  const char* key;
  bool (*accessor)();
  bool absent;
  bool notBoolean;
  bool storedTrue;
  bool storedFalse;
};

TEST(BooleanAccessors, ResultOfEachStoredValue) {
  const std::vector<BooleanRow> rows = {
      {"QuitWhenDone", GetQuitWhenDone, false, false, true, false},
      {"RecurseFolders", GetRecurseFolders, false, false, true, false},
      {"ReplaceFilesBySameName", GetReplaceFilesBySameName, false, false, true, false},
      {"AggregateAppResourcesOnly", GetAggregateAppResourcesOnly, true, true, false, true},
      {"PreserveComments", GetPreserveComments, false, false, false, true},
  };
  const PreferencesFolder folder;
  for (const BooleanRow& row : rows) {
    SCOPED_TRACE(row.key);
    const std::string assign = std::string(row.key) + " = ";
    folder.Write("[table]\n" + assign + "true\n");
    EXPECT_EQ(row.absent, row.accessor());
    for (const char* other :
         {"1", "0", "\"true\"", "\"\"", "1.0", "[true]", "{a = true}", "1979-05-27"}) {
      folder.Write(assign + other + "\n");
      EXPECT_EQ(row.notBoolean, row.accessor()) << other;
    }
    folder.Write(assign + "true\n");
    EXPECT_EQ(row.storedTrue, row.accessor());
    folder.Write(assign + "false\n");
    EXPECT_EQ(row.storedFalse, row.accessor());
  }
}

TEST(BooleanAccessors, ReadOwnKeyOnly) {
  const PreferencesFolder folder;
  folder.Write("ReplaceFilesBySameName = true\n");
  EXPECT_TRUE(GetReplaceFilesBySameName());
  EXPECT_FALSE(GetQuitWhenDone());
  EXPECT_FALSE(GetRecurseFolders());
  EXPECT_TRUE(GetAggregateAppResourcesOnly());
  EXPECT_FALSE(GetPreserveComments());
}

TEST(BooleanAccessors, Synchronise) {
  const std::vector<bool (*)()> accessors = {GetQuitWhenDone, GetRecurseFolders,
                                             GetReplaceFilesBySameName,
                                             GetAggregateAppResourcesOnly, GetPreserveComments};
  const std::vector<std::string> keys = {"QuitWhenDone", "RecurseFolders", "ReplaceFilesBySameName",
                                         "AggregateAppResourcesOnly", "PreserveComments"};
  const PreferencesFolder folder;
  for (size_t i = 0; i < keys.size(); ++i) {
    folder.Write(keys[i] + " = true\n");
    const bool before = accessors[i]();
    WriteFile(folder.PreferencesPath(), keys[i] + " = false\n");
    EXPECT_NE(before, accessors[i]()) << keys[i];
  }
}

TEST(NumberAccessors, DoNotSynchronise) {
  const PreferencesFolder folder;
  folder.Write("FileOperation = 1\nTessaryType = 4\n");
  WriteFile(folder.PreferencesPath(), "FileOperation = 3\nTessaryType = 5\n");
  EXPECT_EQ(1, GetFileOperation());
  EXPECT_EQ(AggregationKind::kModificationDate, GetAggregationKind());
  EXPECT_FALSE(GetQuitWhenDone());
  EXPECT_EQ(3, GetFileOperation());
  EXPECT_EQ(AggregationKind::kCreationDate, GetAggregationKind());
}

TEST(Preferences, WritesOnlyChangedLine) {
  const PreferencesFolder folder;
  folder.Write("# mine\nQuitWhenDone = true  # always\n");
  EXPECT_TRUE(SetQuitWhenDone(false));
  EXPECT_TRUE(SetRecurseFolders(true));
  EXPECT_TRUE(SetAggregationKind(AggregationKind::kMimeType));
  EXPECT_EQ("# mine\nQuitWhenDone = false  # always\nRecurseFolders = true\nTessaryType = 3\n",
            ReadFile(folder.PreferencesPath()));
  EXPECT_FALSE(GetQuitWhenDone());
  EXPECT_TRUE(GetRecurseFolders());
  EXPECT_EQ(AggregationKind::kMimeType, GetAggregationKind());
}

TEST(Preferences, InvalidFileIsNotWritten) {
  const PreferencesFolder folder;
  const std::string text = "RecurseFolders = true\nnot TOML\n";
  folder.Write(text);
  EXPECT_FALSE(SetRecurseFolders(true));
  EXPECT_FALSE(SetAggregationKind(AggregationKind::kMimeType));
  EXPECT_EQ(text, ReadFile(folder.PreferencesPath()));
  EXPECT_FALSE(GetRecurseFolders());
  EXPECT_EQ(AggregationKind::kExtension, GetAggregationKind());
}

using Values = std::array<int, 7>;

Values AllValues() {
  return {GetQuitWhenDone(),
          GetRecurseFolders(),
          GetReplaceFilesBySameName(),
          GetAggregateAppResourcesOnly(),
          GetPreserveComments(),
          GetFileOperation(),
          static_cast<int>(GetAggregationKind())};
}

TEST(Settings, ListsEveryKeyWithType) {
  const PreferencesFolder folder;
  const Values defaults = AllValues();
  std::set<Values> seen;
  for (const Setting& setting : kSettings) {
    const std::string assign = std::string(setting.key) + " = ";
    const bool isNumber = setting.type == SettingType::kNumber;
    // Only false differs from the default of this key.
    const std::string boolean = setting.key == "PreserveComments" ? "false" : "true";
    folder.Write(assign + (isNumber ? "3" : boolean));
    EXPECT_NE(defaults, AllValues()) << setting.key;
    seen.insert(AllValues());
    folder.Write(assign + (isNumber ? boolean : "3"));
    EXPECT_EQ(defaults, AllValues()) << setting.key;
  }
  EXPECT_EQ(kSettings.size(), seen.size());
}

}  // namespace
}  // namespace tessary::test
