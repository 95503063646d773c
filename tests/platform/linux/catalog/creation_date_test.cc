#include "platform/linux/catalog/creation_date.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <limits>
#include <string>

#include "platform/linux/catalog/remembered_dates.h"
#include "platform/linux/changes/object_info.h"
#include "platform/managers/autorelease_pool.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

struct statx StatxOf(const std::string& path) {
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, path.c_str(), &info)) << path;
  return info;
}

TEST(FormatCreationDate, RoundTripsWithParse) {
  const struct {
    Timestamp date;
    const char* text;
  } rows[] = {
      {{0, 0}, "1970-01-01T00:00:00.000000000Z"},
      {{1'236'143'167, 89}, "2009-03-04T05:06:07.000000089Z"},
      {{-1, 999'999'999}, "1969-12-31T23:59:59.999999999Z"},
      {{951'782'400, 1}, "2000-02-29T00:00:00.000000001Z"},
      {{253'402'300'799, 999'999'999}, "9999-12-31T23:59:59.999999999Z"},
      {{-62'167'219'200, 0}, "0000-01-01T00:00:00.000000000Z"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.text, FormatCreationDate(row.date));
    EXPECT_EQ(row.date, ParseCreationDate(row.text)) << row.text;
  }
}

TEST(FormatCreationDate, EmptyOutsideFourDigitYears) {
  for (const int64_t seconds :
       {int64_t{253'402'300'800}, int64_t{-62'167'219'201}, std::numeric_limits<int64_t>::max(),
        std::numeric_limits<int64_t>::min()}) {
    EXPECT_EQ("", FormatCreationDate({seconds, 0})) << seconds;
  }
}

TEST(ParseCreationDate, AcceptsFewerDecimals) {
  EXPECT_EQ((Timestamp{0, 0}), ParseCreationDate("1970-01-01T00:00:00Z"));
  EXPECT_EQ((Timestamp{0, 500'000'000}), ParseCreationDate("1970-01-01T00:00:00.5Z"));
  EXPECT_EQ((Timestamp{0, 120'000}), ParseCreationDate("1970-01-01T00:00:00.00012Z"));
}

TEST(ParseCreationDate, RejectsOtherForms) {
  for (const char* text : {"",
                           "Z",
                           "1970-01-01",
                           "1970-01-01T00:00:00",
                           "1970-01-01 00:00:00Z",
                           "1970-01-01T00:00:00.Z",
                           "1970-01-01T00:00:00.0000000000Z",
                           "1970-01-01T00:00:00z",
                           "1970-01-01T00:00:00ZZ",
                           "1970-13-01T00:00:00Z",
                           "1970-00-01T00:00:00Z",
                           "1970-02-30T00:00:00Z",
                           "1970-01-01T24:00:00Z",
                           "1970-01-01T00:60:00Z",
                           "1970-01-01T00:00:60Z",
                           "-970-01-01T00:00:00Z",
                           "+970-01-01T00:00:00Z",
                           "1970-1-01T00:00:00Z",
                           "1970-01-01T00:00:00.-1Z",
                           " 1970-01-01T00:00:00Z"}) {
    EXPECT_FALSE(ParseCreationDate(text)) << text;
  }
}

TEST(CreationDateAt, ForgetsRememberedDateInNextRun) {
  const TemporaryFolder folder;
  const std::string path = folder / "file";
  WriteFile(path);
  const struct statx info = StatxOf(path);
  const std::optional<Timestamp> before = CreationDateAt(PlaceAt(path), info);
  RememberDate(info, DateAttribute::NSFileCreationDate, {77, 7});
  ASSERT_EQ((Timestamp{77, 7}), CreationDateAt(PlaceAt(path), info));
  const NSAutoreleasePool nextRun;
  EXPECT_EQ(before, CreationDateAt(PlaceAt(path), info));
}

TEST(CreationDateAt, Precedence) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeLink("file", folder / "link");
  const struct statx info = StatxOf(folder / "file");
  const std::string path = folder / "file";

  std::optional<Timestamp> birth;
  if ((info.stx_mask & STATX_BTIME) != 0) {
    birth = Timestamp{info.stx_btime.tv_sec, info.stx_btime.tv_nsec};
  }
  EXPECT_EQ(birth, CreationDateAt(PlaceAt(path), info));

  RememberDate(info, DateAttribute::NSFileCreationDate, {77, 7});
  EXPECT_EQ((Timestamp{77, 7}), CreationDateAt(PlaceAt(path), info));
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ((Timestamp{77, 7}), CreationDateWithoutAttribute(file.get(), info));

  if (!SetAttribute(path, kCreationDateAttribute, "1971-01-01T00:00:00.000000003Z")) {
    GTEST_SKIP() << "no attributes here";
  }
  EXPECT_EQ((Timestamp{31'536'000, 3}), CreationDateAt(PlaceAt(path), info));
  EXPECT_EQ((Timestamp{31'536'000, 3}), CreationDateAt(PlaceAt(folder / "link"), info));
  ASSERT_TRUE(SetAttribute(path, kCreationDateAttribute, "yesterday"));
  EXPECT_EQ((Timestamp{77, 7}), CreationDateAt(PlaceAt(path), info));
}

TEST(CreationDateAt, NoneIfUnknown) {
  struct statx info = {};
  info.stx_ino = 4711;
  EXPECT_EQ(std::nullopt, CreationDateAt(PlaceAt("/nowhere at all"), info));
}

}  // namespace
}  // namespace tessary::test
