#include "platform/managers/internet_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/configuration/builtin_file_types.h"
#include "platform/managers/text.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

ICMapHandle ReadMapping() {
  ICInstance instance;
  EXPECT_EQ(noErr, ICStart(&instance, 0));
  EXPECT_EQ(noErr, ICBegin(&instance, ICPerm::icReadOnlyPerm));
  ICMapHandle mapping;
  EXPECT_EQ(noErr, ICGetPrefHandle(instance, "Mapping", &mapping));
  EXPECT_EQ(noErr, ICEnd(&instance));
  EXPECT_EQ(noErr, ICStop(&instance));
  return mapping;
}

// Returns the entries of the user's file, which follow the built-in entries, as "EXTENSION TYPE".
std::vector<std::string> UserEntries() {
  const ICMapHandle mapping = ReadMapping();
  std::vector<std::string> entries;
  for (size_t i = BuiltinFileTypes().size(); i < mapping.size(); ++i) {
    std::string text = Utf8FromUtf16(mapping[i].extension) + " ";
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
      text.push_back(static_cast<char>(mapping[i].fileType >> shift & 0xFF));
    }
    entries.push_back(text);
  }
  return entries;
}

TEST(InternetConfig, RejectsWrongOrderAndMissingArguments) {
  const PreferencesFolder preferences;
  ICInstance instance;
  ICMapHandle mapping = {{1, u"before"}};
  EXPECT_EQ(paramErr, ICStart(nullptr, 0));
  EXPECT_EQ(paramErr, ICBegin(nullptr, ICPerm::icReadOnlyPerm));
  EXPECT_EQ(paramErr, ICBegin(&instance, ICPerm::icReadOnlyPerm));
  EXPECT_EQ(paramErr, ICStop(&instance));
  ASSERT_EQ(noErr, ICStart(&instance, 0x54735279));
  EXPECT_EQ(0x54735279U, instance.signature);
  EXPECT_EQ(paramErr, ICGetPrefHandle(instance, "Mapping", &mapping));
  EXPECT_EQ(paramErr, ICEnd(&instance));
  ASSERT_EQ(noErr, ICBegin(&instance, ICPerm::icReadOnlyPerm));
  EXPECT_EQ(paramErr, ICGetPrefHandle(instance, "Mapping", nullptr));
  EXPECT_EQ(fnfErr, ICGetPrefHandle(instance, "Email", &mapping));
  ASSERT_THAT(mapping, SizeIs(1));
  EXPECT_EQ(u"before", mapping[0].extension);
  EXPECT_EQ(noErr, ICStop(&instance));
  EXPECT_EQ(paramErr, ICEnd(&instance)) << "ICStop ends the access";
  EXPECT_EQ(paramErr, ICStop(nullptr));
  EXPECT_EQ(paramErr, ICEnd(nullptr));
}

TEST(InternetConfig, CountsEntriesFromOne) {
  const ICMapHandle mapping = {{0x54455854, u".txt"}, {0x4A504547, u".jpg"}};
  size_t count = 0;
  EXPECT_EQ(paramErr, ICCountMapEntries(mapping, nullptr));
  ASSERT_EQ(noErr, ICCountMapEntries(mapping, &count));
  EXPECT_EQ(2U, count);
  ICMapEntry entry;
  ASSERT_EQ(noErr, ICGetIndMapEntry(mapping, 1, &entry));
  EXPECT_EQ(u".txt", entry.extension);
  EXPECT_EQ(paramErr, ICGetIndMapEntry(mapping, 0, &entry));
  EXPECT_EQ(paramErr, ICGetIndMapEntry(mapping, 3, &entry));
  EXPECT_EQ(paramErr, ICGetIndMapEntry(mapping, 1, nullptr));
  EXPECT_EQ(u".txt", entry.extension);
  EXPECT_EQ(0x54455854U, entry.fileType);
}

TEST(InternetConfig, HasBuiltInTypesWithoutFile) {
  const PreferencesFolder preferences;
  const ICMapHandle mapping = ReadMapping();
  ASSERT_THAT(mapping, SizeIs(BuiltinFileTypes().size()));
  const auto pdf = std::find_if(mapping.begin(), mapping.end(),
                                [](const ICMapEntry& entry) { return entry.extension == u".pdf"; });
  ASSERT_NE(mapping.end(), pdf);
  EXPECT_EQ(0x50444620U, pdf->fileType);
  EXPECT_THAT(DescribeBadMappingLines(), IsEmpty());
}

TEST(InternetConfig, ReadsUserFileInOrder) {
  const PreferencesFolder preferences;
  WriteFile(preferences.MappingPath(),
            "\xEF\xBB\xBF# my own\r\n"
            ".md \"TEXT\"\r\n"
            "\n"
            "   # indented comment, caf\xE9\n"
            " \t\n"
            "  .pdf\t \"CARO\" \"PRVW\" more columns # caf\xE9\n"
            ".MD  \"MDwn\"\n"
            "bare \"a\"\n"
            ".two.dots \"ab\"\t\n"
            ".blank \" b \"\n"
            ".zero \"\"\n"
            ".caf\xC3\xA9 \"\xC3\xA9t\xC2\"\n"
            ".e \"\xC3\xA9t\"\n"
            ".hash# \"#\"\n"
            ".md \"LAST\"");
  EXPECT_THAT(
      UserEntries(),
      ElementsAre(".md TEXT", ".pdf CARO", ".MD MDwn", "bare a   ", ".two.dots ab  ", ".blank  b  ",
                  std::string(".zero \0\0\0\0", 10), ".e \xC3\xA9t ", ".hash# #   ", ".md LAST"));
  EXPECT_THAT(DescribeBadMappingLines(), SizeIs(1));
}

TEST(InternetConfig, SkipsAndReportsMalformedLines) {
  const std::vector<std::array<std::string, 2>> rows = {
      {".a", "no type after the extension"},
      {".a  \t", "no type after the extension"},
      {"\"TEXT\"", "no type after the extension"},
      {".a TEXT", "the type is not in double quotes"},
      {".a 'TEXT'", "the type is not in double quotes"},
      {".a \"TEXT", "the closing quote of the type is missing"},
      {".a \"", "the closing quote of the type is missing"},
      {".a \"TEXT\"x", "no space after the type"},
      {".a \"TEXT\"\r.b \"TEXT\"", "no space after the type"},
      {". \"TEXT\"", "no extension after the dot"},
      {".a \"TEXTS\"", "the type is longer than four bytes"},
      {".a \"\xC3\xA9\xC3\xA9\xC3\xA9\"", "the type is longer than four bytes"},
      {".caf\xE9 \"TEXT\"", "the extension is not UTF-8"},
      {".a \"\xE9\"", "the type is not UTF-8"},
      {".a\x01 \"TEXT\"", "the extension contains a control character"},
      {".a \"T\tXT\"", "the type contains a control character"},
      {std::string(".a \"T\0\"", 7), "the type contains a control character"},
      {std::string(300'000, 'x'), "no type after the extension"},
      {".a \"" + std::string(300'000, 'x') + "\"", "the type is longer than four bytes"},
  };
  for (const auto& [line, problem] : rows) {
    const PreferencesFolder preferences;
    WriteFile(preferences.MappingPath(), ".good \"GOOD\"\n" + line + "\n.also \"ALSO\"\n");
    EXPECT_THAT(UserEntries(), ElementsAre(".good GOOD", ".also ALSO")) << problem;
    EXPECT_THAT(
        DescribeBadMappingLines(),
        ElementsAre(preferences.MappingPath() + ":2: " + problem + "; expected .ext \"TYPE\""));
  }
}

TEST(DescribeBadMappingLines, CountsLinesBeyondTwenty) {
  const PreferencesFolder preferences;
  std::string text;
  for (int i = 0; i < 25; ++i) text += "bad\n";
  WriteFile(preferences.MappingPath(), text);
  const std::vector<std::string> messages = DescribeBadMappingLines();
  ASSERT_THAT(messages, SizeIs(21));
  EXPECT_THAT(messages[19], HasSubstr("extensions.map:20: "));
  EXPECT_EQ(preferences.MappingPath() + ": 5 more malformed lines", messages[20]);
}

TEST(DescribeBadMappingLines, ReportsFolder) {
  const PreferencesFolder preferences;
  MakeFolder(preferences.MappingPath());
  EXPECT_THAT(DescribeBadMappingLines(),
              ElementsAre(StartsWith(preferences.MappingPath() + ": not a regular file")));
  EXPECT_THAT(UserEntries(), IsEmpty());
}

TEST(DescribeBadMappingLines, ReportsUnreadableFile) {
  const PreferencesFolder preferences;
  WriteFile(preferences.MappingPath(), ".a \"TEXT\"\n");
  const std::string folder =
      preferences.MappingPath().substr(0, preferences.MappingPath().rfind('/'));
  ASSERT_EQ(0, chmod(folder.substr(0, folder.rfind('/')).c_str(), 0755));
  ASSERT_EQ(0, chmod(folder.c_str(), 0755));
  ASSERT_EQ(0, chmod(preferences.MappingPath().c_str(), 0));
  EXPECT_TRUE(RunAsOrdinaryUser([&] {
    EXPECT_THAT(DescribeBadMappingLines(),
                ElementsAre(preferences.MappingPath() + ": permission denied"));
    EXPECT_THAT(UserEntries(), IsEmpty());
  }));
}

TEST(DescribeBadMappingLines, AcceptsMissingFileAndFolder) {
  const PreferencesFolder preferences;
  EXPECT_THAT(DescribeBadMappingLines(), IsEmpty());
  MakeLink("nowhere", preferences.MappingPath());
  EXPECT_THAT(DescribeBadMappingLines(), IsEmpty());
}

TEST(DescribeBadMappingLines, AcceptsFileInPlaceOfFolder) {
  const PreferencesFolder preferences;
  WriteFile(preferences.MappingPath().substr(0, preferences.MappingPath().rfind('/')));
  EXPECT_THAT(DescribeBadMappingLines(), IsEmpty());
  EXPECT_THAT(UserEntries(), IsEmpty());
}

TEST(BuiltinFileTypes, ExtensionsAreUnique) {
  std::set<std::string_view> seen;
  for (const BuiltinFileType& builtin : BuiltinFileTypes()) {
    EXPECT_TRUE(seen.insert(builtin.extension).second) << builtin.extension;
    EXPECT_TRUE(builtin.extension.starts_with('.')) << builtin.extension;
    EXPECT_TRUE(std::none_of(builtin.extension.begin(), builtin.extension.end(),
                             [](unsigned char letter) { return std::isupper(letter) != 0; }))
        << builtin.extension;
    EXPECT_EQ(4U, builtin.type.size()) << builtin.extension;
    EXPECT_NE("    ", builtin.type) << builtin.extension;
  }
  EXPECT_GE(seen.size(), 100U);
}

TEST(DescribeBadMappingLines, ReportsInjectedError) {
  const PreferencesFolder preferences;
  WriteFile(preferences.MappingPath(), ".x \"TEST\"\n");
  RunWithPausedCalls({{SYS_read, "", 1, {}, EIO}}, [&preferences] {
    EXPECT_THAT(DescribeBadMappingLines(),
                ElementsAre(preferences.MappingPath() + ": filesystem error -36"));
  });
}

}  // namespace
}  // namespace tessary::test
