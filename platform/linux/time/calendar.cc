#include "platform/managers/calendar.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <cstddef>
#include <cstdlib>

#include "platform/linux/time/local_time.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

constexpr std::array<std::string_view, 12> kEnglishMonths = {
    "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<nl_item, 12> kMonthItems = {ABMON_1, ABMON_2,  ABMON_3,  ABMON_4,
                                                 ABMON_5, ABMON_6,  ABMON_7,  ABMON_8,
                                                 ABMON_9, ABMON_10, ABMON_11, ABMON_12};

// The name of the locale that the environment sets for LC_TIME, in the order of setlocale.
std::string UserTimeLocaleName() {
  for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && value[0] != '\0') return value;
  }
  return "C";
}

// True for C and POSIX, with or without a codeset. They use the English month names.
bool IsUnlocalised(std::string_view name) {
  const std::string_view language = name.substr(0, name.find_first_of(".@"));
  return language == "C" || language == "POSIX";
}

class Locale {
 public:
  // LC_CTYPE comes from the same locale, so that CODESET is the encoding of its month names even if
  // the environment sets another locale for LC_CTYPE.
  explicit Locale(const std::string& name)
      : locale_(newlocale(LC_TIME_MASK | LC_CTYPE_MASK, name.c_str(), nullptr)) {}
  ~Locale() {
    if (locale_ != nullptr) freelocale(locale_);
  }
  Locale(const Locale&) = delete;
  Locale& operator=(const Locale&) = delete;

  explicit operator bool() const { return locale_ != nullptr; }
  std::string Text(nl_item item) const { return nl_langinfo_l(item, locale_); }

 private:
  locale_t locale_;
};

class Utf8Converter {
 public:
  explicit Utf8Converter(const std::string& codeset)
      : conversion_(iconv_open("UTF-8", codeset.c_str())) {}
  ~Utf8Converter() {
    if (IsOpen()) iconv_close(conversion_);
  }
  Utf8Converter(const Utf8Converter&) = delete;
  Utf8Converter& operator=(const Utf8Converter&) = delete;

  // Returns none if any part of the text cannot be converted.
  std::optional<std::string> Convert(std::string text) const {
    if (!IsOpen()) return std::nullopt;
    std::string converted(text.size() * 4, '\0');
    char* in = text.data();
    char* out = converted.data();
    size_t inLeft = text.size();
    size_t outLeft = converted.size();
    if (iconv(conversion_, &in, &inLeft, &out, &outLeft) == kFailed) return std::nullopt;
    // Flushes the converter: some codesets hold back the last letter, because a combining accent
    // could follow.
    if (iconv(conversion_, nullptr, nullptr, &out, &outLeft) == kFailed) return std::nullopt;
    converted.resize(converted.size() - outLeft);
    return converted;
  }

 private:
  static constexpr size_t kFailed = static_cast<size_t>(-1);

  // iconv_open returns (iconv_t)-1 on failure.
  bool IsOpen() const { return reinterpret_cast<size_t>(conversion_) != kFailed; }

  iconv_t conversion_;
};

void AppendNumber(int64_t number, size_t digits, std::string* text) {
  std::string decimal = std::to_string(number);
  const size_t sign = number < 0 ? 1 : 0;
  if (decimal.size() - sign < digits) decimal.insert(sign, digits + sign - decimal.size(), '0');
  *text += decimal;
}

void AppendMonthName(const NSCalendarDate& date, const DateLocale* locale, std::string* text) {
  const auto index = static_cast<size_t>(date.month) - 1;
  if (index >= kEnglishMonths.size()) return;
  if (locale != nullptr) {
    *text += locale->shortMonthNames[index];
  } else {
    *text += kEnglishMonths[index];
  }
}

}  // namespace

std::optional<DateLocale> CopyUserDateLocale() {
  const std::string name = UserTimeLocaleName();
  if (IsUnlocalised(name)) return std::nullopt;
  const Locale user(name);
  if (!user) return std::nullopt;
  const Utf8Converter converter(user.Text(CODESET));
  DateLocale locale;
  for (size_t i = 0; i < kMonthItems.size(); ++i) {
    const auto month = converter.Convert(user.Text(kMonthItems[i]));
    if (!month || month->empty()) return std::nullopt;
    locale.shortMonthNames[i] = *month;
  }
  return locale;
}

std::optional<NSCalendarDate> CalendarDateFromTimestamp(const Timestamp& instant) {
  const auto local = LocalTime(instant.seconds);
  if (!local) return std::nullopt;
  return NSCalendarDate{int64_t{local->tm_year} + 1900, local->tm_mon + 1, local->tm_mday};
}

std::string DescriptionWithCalendarFormat(const NSCalendarDate& date, std::string_view format,
                                          const DateLocale* locale) {
  std::string text;
  for (size_t i = 0; i < format.size(); ++i) {
    const char conversion = format[i] == '%' && i + 1 < format.size() ? format[i + 1] : '\0';
    if (conversion == 'Y') {
      AppendNumber(date.year, 4, &text);
    } else if (conversion == 'b') {
      AppendMonthName(date, locale, &text);
    } else if (conversion == 'd') {
      AppendNumber(date.day, 2, &text);
    } else if (conversion == '%') {
      text.push_back('%');
    } else {
      text.push_back(format[i]);
      continue;
    }
    ++i;
  }
  return text;
}

}  // namespace tessary
