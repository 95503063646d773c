#include "platform/managers/calendar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

#include "tests/support/environment_variable.h"
#include "tests/support/temporary_folder.h"

#ifdef TESSARY_SANITIZE
// The C library's newlocale leaks the list of folders that it makes from LOCPATH.
extern "C" const char* __lsan_default_suppressions();   // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
  return "leak:__argz_add_sep\n";
}
#endif

namespace tessary::test {
namespace {

constexpr char kDayFormat[] = "%b %d, %Y";

// Sets the environment variables that determine the locale, for the lifetime of the object.
class LocaleSettings {
 public:
  LocaleSettings(const std::string& folder, const std::string& all, const std::string& time,
                 const std::string& lang)
      : path_("LOCPATH", folder),
        all_("LC_ALL", all),
        time_("LC_TIME", time),
        type_("LC_CTYPE", "C"),
        lang_("LANG", lang) {}

 private:
  EnvironmentVariable path_, all_, time_, type_, lang_;
};

// Compiles a locale into `folder`. Returns false if localedef or the locale's source is not
// installed.
bool CompileLocale(const std::string& folder, const std::string& name, const std::string& source,
                   const std::string& codeset) {
  const std::string command = "localedef --no-archive -i " + source + " -f " + codeset + " '" +
                              folder + "/" + name + "' >/dev/null 2>&1";
  // The status is ignored because localedef also fails for warnings.
  const int ignored = std::system(command.c_str());  // NOLINT(cert-env33-c)
  (void)ignored;
  return Exists(folder + "/" + name + "/LC_TIME");
}

std::string DayOf(const NSCalendarDate& date) {
  const auto locale = CopyUserDateLocale();
  return DescriptionWithCalendarFormat(date, kDayFormat, locale ? &*locale : nullptr);
}

TEST(DescriptionWithCalendarFormat, Conversions) {
  const NSCalendarDate date = {2009, 3, 4};
  EXPECT_EQ("Mar 04, 2009", DescriptionWithCalendarFormat(date, kDayFormat, nullptr));
  EXPECT_EQ("2009", DescriptionWithCalendarFormat(date, "%Y", nullptr));
  EXPECT_EQ("100% of 04", DescriptionWithCalendarFormat(date, "100%% of %d", nullptr));
  EXPECT_EQ("", DescriptionWithCalendarFormat(date, "", nullptr));
}

TEST(DescriptionWithCalendarFormat, OtherConversions) {
  const NSCalendarDate date = {2009, 3, 4};
  EXPECT_EQ("%H:%M %", DescriptionWithCalendarFormat(date, "%H:%M %", nullptr));
  EXPECT_EQ("%H2009", DescriptionWithCalendarFormat(date, "%H%Y", nullptr));
}

TEST(DescriptionWithCalendarFormat, PadsYear) {
  EXPECT_EQ("0033", DescriptionWithCalendarFormat({33, 1, 1}, "%Y", nullptr));
  EXPECT_EQ("-0005", DescriptionWithCalendarFormat({-5, 1, 1}, "%Y", nullptr));
  EXPECT_EQ("12345", DescriptionWithCalendarFormat({12345, 1, 1}, "%Y", nullptr));
}

TEST(DescriptionWithCalendarFormat, EnglishMonths) {
  std::string months;
  for (int month = 1; month <= 12; ++month) {
    months += DescriptionWithCalendarFormat({2009, month, 31}, "%b%d ", nullptr);
  }
  EXPECT_EQ("Jan31 Feb31 Mar31 Apr31 May31 Jun31 Jul31 Aug31 Sep31 Oct31 Nov31 Dec31 ", months);
}

TEST(DescriptionWithCalendarFormat, LocaleMonths) {
  DateLocale locale;
  locale.shortMonthNames[2] = "M\xC3\xA4r";
  EXPECT_EQ("M\xC3\xA4r 04, 2009",
            DescriptionWithCalendarFormat({2009, 3, 4}, kDayFormat, &locale));
}

TEST(CopyUserDateLocale, NoneForUnlocalised) {
  for (const char* name : {"C", "POSIX", "C.UTF-8", "C.utf8", ""}) {
    const LocaleSettings settings("/usr/lib/locale", "", name, "");
    EXPECT_FALSE(CopyUserDateLocale()) << name;
  }
}

TEST(CopyUserDateLocale, NoneIfNotInstalled) {
  const TemporaryFolder empty;
  for (const char* name : {"xx_XX.UTF-8", "../etc", "de_DE.UTF-8@nowhere", "\xFF"}) {
    const LocaleSettings settings(empty.path(), "", name, "");
    EXPECT_FALSE(CopyUserDateLocale()) << name;
    EXPECT_EQ("Mar 04, 2009", DayOf({2009, 3, 4})) << name;
  }
}

TEST(CopyUserDateLocale, ConvertsCodeset) {
  const TemporaryFolder locales;
  if (!CompileLocale(locales.path(), "de_DE.UTF-8", "de_DE", "UTF-8") ||
      !CompileLocale(locales.path(), "de_DE.ISO-8859-1", "de_DE", "ISO-8859-1")) {
    GTEST_SKIP() << "localedef or the locale sources are not installed";
  }
  for (const char* name : {"de_DE.UTF-8", "de_DE.ISO-8859-1"}) {
    const LocaleSettings settings(locales.path(), "", name, "C");
    EXPECT_EQ("M\xC3\xA4r 04, 2009", DayOf({2009, 3, 4})) << name;
    EXPECT_EQ("Dez 31, 2009", DayOf({2009, 12, 31})) << name;
  }
}

TEST(CopyUserDateLocale, VariablePrecedence) {
  const TemporaryFolder locales;
  if (!CompileLocale(locales.path(), "de_DE.UTF-8", "de_DE", "UTF-8") ||
      !CompileLocale(locales.path(), "fr_FR.UTF-8", "fr_FR", "UTF-8")) {
    GTEST_SKIP() << "localedef or the locale sources are not installed";
  }
  const std::string german = "Dez 01, 2009";
  const std::string french =
      "d\xC3\xA9"
      "c. 01, 2009";
  const struct {
    const char* all;
    const char* time;
    const char* lang;
    std::string expected;
  } rows[] = {
      {"de_DE.UTF-8", "fr_FR.UTF-8", "fr_FR.UTF-8", german},
      {"", "de_DE.UTF-8", "fr_FR.UTF-8", german},
      {"", "", "fr_FR.UTF-8", french},
      {"C", "de_DE.UTF-8", "de_DE.UTF-8", "Dec 01, 2009"},
  };
  for (const auto& row : rows) {
    const LocaleSettings settings(locales.path(), row.all, row.time, row.lang);
    EXPECT_EQ(row.expected, DayOf({2009, 12, 1}));
  }
}

TEST(CalendarDateFromTimestamp, UsesLocalTimeZone) {
  const Timestamp newYear = {1230768000, 0};  // 2009-01-01 00:00 UTC
  const Timestamp before = {1230767999, 999'999'999};
  {
    const TimeZone zone("UTC");
    EXPECT_EQ("Jan 01, 2009", DescriptionWithCalendarFormat(*CalendarDateFromTimestamp(newYear),
                                                            kDayFormat, nullptr));
    EXPECT_EQ("Dec 31, 2008", DescriptionWithCalendarFormat(*CalendarDateFromTimestamp(before),
                                                            kDayFormat, nullptr));
  }
  {
    const TimeZone zone("America/New_York");
    EXPECT_EQ(2008, CalendarDateFromTimestamp(newYear)->year);
  }
  {
    const TimeZone zone("Asia/Tokyo");
    EXPECT_EQ(2009, CalendarDateFromTimestamp(before)->year);
  }
}

TEST(CalendarDateFromTimestamp, Before1970) {
  const TimeZone zone("UTC");
  const auto date = CalendarDateFromTimestamp({-1, 999'999'999});
  ASSERT_TRUE(date);
  EXPECT_EQ(1969, date->year);
  EXPECT_EQ(12, date->month);
  EXPECT_EQ(31, date->day);
}

TEST(CalendarDateFromTimestamp, NoneOutOfRange) {
  EXPECT_FALSE(CalendarDateFromTimestamp({std::numeric_limits<int64_t>::max(), 0}));
  EXPECT_FALSE(CalendarDateFromTimestamp({std::numeric_limits<int64_t>::min(), 0}));
}

}  // namespace
}  // namespace tessary::test
