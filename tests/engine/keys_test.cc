#include "engine/keys.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "platform/extension_map.h"
#include "platform/managers/text.h"
#include "tests/engine/engine_fixture.h"

namespace tessary::test {
namespace {

constexpr auto kModified = DateAttribute::NSFileModificationDate;
constexpr auto kCreated = DateAttribute::NSFileCreationDate;

// The key as UTF-8, or "(none)".
std::string Text(const std::optional<std::u16string>& key) {
  return key ? Utf8FromUtf16(*key) : "(none)";
}

class KeysTest : public EngineFixture {
 protected:
  KeysTest() {
    if (const char* zone = std::getenv("TZ")) savedZone_ = zone;
    SetTimeZone("UTC0");
  }
  ~KeysTest() override {
    gDateLocale.reset();
    if (savedZone_) {
      SetTimeZone(*savedZone_);
    } else {
      unsetenv("TZ");
      tzset();
    }
  }

  static void SetTimeZone(const std::string& zone) {
    setenv("TZ", zone.c_str(), 1);
    tzset();
  }

  // Builds the extension map from the built-in table and these lines.
  void MapExtensions(const std::string& lines) const {
    WriteFile(preferences_.MappingPath(), lines);
    BuildExtensionMap();
  }

  std::string FileTypeKey(const std::string& name) const {
    return Text(CopyFileTypeKey(RefAt(InSource(name))));
  }

  std::string MimeTypeKey(const std::string& name) const {
    WriteFile(InSource(name));
    return Text(CopyMimeTypeKey(CFURLCreateFromFSRef(RefAt(InSource(name)))));
  }

 private:
  std::optional<std::string> savedZone_;
};

using CopyFileTypeKeyTest = KeysTest;
using CopyMimeTypeKeyTest = KeysTest;
using DateKeysTest = KeysTest;
using DescribeDateTest = KeysTest;

TEST_F(CopyFileTypeKeyTest, ReturnsTypeVerbatim) {
  const struct {
    std::string type;
    std::string key;
  } rows[] = {
      {"TEXT", "TEXT"},
      {"8BPS", "8BPS"},
      {"PDF ", "PDF "},
      {"    ", "    "},
      {"text", "text"},
      {"..", ".."},
      {".", "."},
      {"a/bc", "a/bc"},
      {"a:bc", "a:bc"},
      {"\xc3\xa9\xc3\xa8", "\xc3\xa9\xc3\xa8"},
      {std::string("ab\0c", 4), "ab"},
      {std::string("\0abc", 4), ""},
  };
  MapExtensions(".rtf \"RTF \"\n");
  WriteFile(InSource("notes.rtf"));
  if (!SetFinderInfo(InSource("notes.rtf"), "TEXT", 0)) GTEST_SKIP() << "needs extended attributes";
  for (const auto& row : rows) {
    ASSERT_TRUE(SetFinderInfo(InSource("notes.rtf"), row.type, 0));
    EXPECT_EQ(row.key, FileTypeKey("notes.rtf"));
  }
}

TEST_F(CopyFileTypeKeyTest, FallsBackToMapForInvalidUtf8) {
  MapExtensions(".qqq \"MAPD\"\n");
  for (const std::string name : {"x.qqq", "x.www", "x"}) WriteFile(InSource(name));
  if (!SetFinderInfo(InSource("x.qqq"), "\xff\xfe\xfd\xfc", 0)) {
    GTEST_SKIP() << "needs extended attributes";
  }
  ASSERT_TRUE(SetFinderInfo(InSource("x.www"), "ab\xc3(", 0));
  ASSERT_TRUE(SetFinderInfo(InSource("x"), "abc\xc3", 0));
  EXPECT_EQ("MAPD", FileTypeKey("x.qqq"));
  EXPECT_EQ("(none)", FileTypeKey("x.www"));
  EXPECT_EQ("(none)", FileTypeKey("x"));
}

TEST_F(CopyFileTypeKeyTest, LooksUpLowercasedExtension) {
  MapExtensions(".qqq \"MAPD\"\n.WWW \"UPPR\"\n.\xc3\xa9 \"ACUT\"\n.two \"PD\"\n");
  const struct {
    std::string name;
    std::string key;
  } rows[] = {
      {"x.qqq", "MAPD"},   {"x.QQQ", "MAPD"},      {"x.Qqq", "MAPD"},       {"x.WWW", "(none)"},
      {"x.www", "(none)"}, {"x.\xc3\x89", "ACUT"}, {"x.two", "PD  "},       {"x.JPG", "JPEG"},
      {"x.a.qqq", "MAPD"}, {"qqq", "(none)"},      {"x.qqq.eee", "(none)"}, {"x.", "(none)"},
  };
  for (const auto& row : rows) {
    WriteFile(InSource(row.name));
    EXPECT_EQ(row.key, FileTypeKey(row.name)) << row.name;
  }
}

TEST_F(CopyFileTypeKeyTest, MapsExtensionOfPackage) {
  MapExtensions(".app \"APPL\"\n");
  MakeFolder(InSource("Tool.app"));
  EXPECT_EQ("APPL", FileTypeKey("Tool.app"));
}

TEST_F(CopyFileTypeKeyTest, NoneForMissingItem) {
  WriteFile(InSource("x.jpg"));
  const FSRef ref = RefAt(InSource("x.jpg"));
  ASSERT_EQ(0, unlink(InSource("x.jpg").c_str()));
  EXPECT_EQ("(none)", Text(CopyFileTypeKey(ref)));
  EXPECT_EQ("(none)", Text(CopyFileTypeKey(FSRef{})));
}

TEST_F(CopyMimeTypeKeyTest, MapsExtension) {
  const struct {
    std::string name;
    std::string key;
  } rows[] = {
      {"photo.jpg", "image/jpeg"},       {"paper.pdf", "application/pdf"},
      {"data.qqqq", "application/qqqq"}, {"data.QqQq", "application/QqQq"},
      {"a.b.qqqq", "application/qqqq"},  {"name.", "application/"},
      {"odd.q:q", "application/q:q"},    {"Makefile", "(none)"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.key, MimeTypeKey(row.name)) << row.name;
}

TEST_F(CopyMimeTypeKeyTest, NoneWithoutUrl) {
  EXPECT_EQ("(none)", Text(CopyMimeTypeKey(std::nullopt)));
}

TEST_F(DateKeysTest, ReturnYearAndDay) {
  WriteFile(InSource("a.txt"));
  const struct {
    int64_t seconds;
    std::string year;
    std::string day;
  } rows[] = {
      {1236164645, "2009", "Mar 04, 2009"}, {0, "1970", "Jan 01, 1970"},
      {-1, "1969", "Dec 31, 1969"},         {951782400, "2000", "Feb 29, 2000"},
      {4102444799, "2099", "Dec 31, 2099"},
  };
  for (const auto& row : rows) {
    SetModificationDate(InSource("a.txt"), row.seconds);
    EXPECT_EQ(row.year, Text(CopyYearKey(RefAt(InSource("a.txt")), kModified)));
    EXPECT_EQ(row.day, Text(CopyDayKey(RefAt(InSource("a.txt")), kModified)));
  }
}

TEST_F(DateKeysTest, UseLocalTimeZone) {
  WriteFile(InSource("a.txt"));
  SetModificationDate(InSource("a.txt"), 1230768000);  // 2009-01-01 00:00:00 UTC
  const FSRef ref = RefAt(InSource("a.txt"));
  const struct {
    std::string zone;
    std::string year;
    std::string day;
  } rows[] = {
      {"UTC0", "2009", "Jan 01, 2009"},
      {"WST1", "2008", "Dec 31, 2008"},
      {"EST-1", "2009", "Jan 01, 2009"},
  };
  for (const auto& row : rows) {
    SetTimeZone(row.zone);
    EXPECT_EQ(row.year, Text(CopyYearKey(ref, kModified))) << row.zone;
    EXPECT_EQ(row.day, Text(CopyDayKey(ref, kModified))) << row.zone;
  }
}

TEST_F(DateKeysTest, ReadRequestedDate) {
  WriteFile(InSource("a.txt"));
  SetModificationDate(InSource("a.txt"), 1236164645);
  if (!SetAttribute(InSource("a.txt"), "user.tessary.creation-date", "2001-02-03T04:05:06Z")) {
    GTEST_SKIP() << "needs extended attributes";
  }
  const FSRef ref = RefAt(InSource("a.txt"));
  EXPECT_EQ("2009", Text(CopyYearKey(ref, kModified)));
  EXPECT_EQ("2001", Text(CopyYearKey(ref, kCreated)));
  EXPECT_EQ("Feb 03, 2001", Text(CopyDayKey(ref, kCreated)));
}

TEST_F(DateKeysTest, DateLinkByTarget) {
  WriteFile(InSource("target"));
  SetModificationDate(InSource("target"), 1236164645);
  MakeLink("target", InSource("link"));
  SetModificationDate(InSource("link"), 0);
  MakeLink("nowhere", InSource("dangling"));
  MakeLink("loop", InSource("loop"));
  EXPECT_EQ("2009", Text(CopyYearKey(RefAt(InSource("link")), kModified)));
  EXPECT_EQ("Mar 04, 2009", Text(CopyDayKey(RefAt(InSource("link")), kModified)));
  for (const std::string name : {"dangling", "loop"}) {
    Status status = noErr;
    EXPECT_EQ("(none)", Text(CopyYearKey(RefAt(InSource(name)), kModified, &status))) << name;
    EXPECT_EQ(noErr, status) << name;
    EXPECT_EQ("(none)", Text(CopyDayKey(RefAt(InSource(name)), kModified))) << name;
    EXPECT_EQ("(none)", Text(CopyYearKey(RefAt(InSource(name)), kCreated))) << name;
  }
}

TEST_F(DateKeysTest, NoneForMissingItem) {
  WriteFile(InSource("a.txt"));
  const FSRef ref = RefAt(InSource("a.txt"));
  ASSERT_EQ(0, unlink(InSource("a.txt").c_str()));
  Status status = noErr;
  EXPECT_EQ("(none)", Text(CopyYearKey(ref, kModified, &status)));
  EXPECT_EQ(fnfErr, status);
  EXPECT_EQ("(none)", Text(CopyDayKey(FSRef{}, kModified, &status)));
  EXPECT_EQ(paramErr, status);
  EXPECT_EQ("(none)", Text(CopyFileTypeKey(ref, &status)));
  EXPECT_EQ(fnfErr, status);
}

TEST_F(DateKeysTest, UseMonthNamesOfLocale) {
  WriteFile(InSource("a.txt"));
  SetModificationDate(InSource("a.txt"), 1236164645);
  gDateLocale = DateLocale{
      {"jan", "feb", "m\xc3\xa4r", "apr", "mai", "jun", "jul", "aug", "sep", "okt", "nov", "dez"}};
  EXPECT_EQ("m\xc3\xa4r 04, 2009", Text(CopyDayKey(RefAt(InSource("a.txt")), kModified)));
  EXPECT_EQ("2009", Text(CopyYearKey(RefAt(InSource("a.txt")), kModified)));
}

TEST_F(DescribeDateTest, NeedsDateAndFormat) {
  const NSCalendarDate date = {.year = 2009, .month = 3, .day = 4};
  EXPECT_EQ("Mar 04, 2009", DescribeDate(date, "%b %d, %Y"));
  EXPECT_EQ("", DescribeDate(date, ""));
  EXPECT_EQ(std::nullopt, DescribeDate(std::nullopt, "%Y"));
  EXPECT_EQ(std::nullopt, DescribeDate(date, std::nullopt));
}

}  // namespace
}  // namespace tessary::test
