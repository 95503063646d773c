#include "platform/linux/mac_formats/date_forms.h"
#include "tests/fuzz/fuzz.h"

// The foreign forms of dates: a date that can be written survives a round trip.
namespace tessary::test {
namespace {

bool AreEqual(const Timestamp& first, const Timestamp& second) {
  return first.seconds == second.seconds && first.nanoseconds == second.nanoseconds;
}

void CheckDate(const std::optional<Timestamp>& date) {
  if (!date) return;
  Require(date->nanoseconds < 1'000'000'000, "nanoseconds are less than a second");
  const std::string big = WriteBigNtTime(*date);
  const std::string native = WriteNativeNtTime(*date);
  Require(big.empty() == native.empty(), "both byte orders have the same range");
  if (big.empty()) return;
  const auto fromBig = ReadBigNtTime(big);
  const auto fromNative = ReadNativeNtTime(native);
  Require(fromBig && fromNative && AreEqual(*fromBig, *fromNative),
          "both byte orders give the same date");
  // NT times have a resolution of 100 nanoseconds.
  Require(
      fromBig->seconds == date->seconds && fromBig->nanoseconds == date->nanoseconds / 100 * 100,
      "a date survives a round trip");
}

}  // namespace

void TryInput(std::string_view input) {
  for (const DateForm& form : kDateForms) CheckDate(form.read(input));
  CheckDate(kNtfsDateForm.read(input));
  CheckDate(kCifsDateForm.read(input));
  const auto date = ReadBigNtTime(input);
  Require(!date || WriteBigNtTime(*date) == input || date->seconds > 900'000'000'000,
          "the bytes of a date survive a round trip");
}

}  // namespace tessary::test
