#include "platform/linux/catalog/creation_date.h"
#include "tests/fuzz/fuzz.h"

// Creation-date attributes of any content: a date that can be parsed survives a round trip.
namespace tessary::test {

void TryInput(std::string_view input) {
  const std::optional<Timestamp> date = ParseCreationDate(input);
  if (!date) return;
  Require(date->nanoseconds < 1'000'000'000, "nanoseconds are less than a second");
  const std::string text = FormatCreationDate(*date);
  const std::optional<Timestamp> again = ParseCreationDate(text);
  Require(again && again->seconds == date->seconds && again->nanoseconds == date->nanoseconds,
          "a date survives a round trip");
}

}  // namespace tessary::test
