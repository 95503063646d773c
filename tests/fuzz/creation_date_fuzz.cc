#include "platform/linux/catalog/creation_date.h"
#include "tests/fuzz/fuzz.h"

// Dates of creation as other programs may have written them: what is read as one is written as the
// same instant.
namespace tessary::test {

void TryInput(std::string_view input) {
  const std::optional<Timestamp> date = ParseCreationDate(input);
  if (!date) return;
  Require(date->nanoseconds < 1'000'000'000, "nanoseconds are less than a second");
  const std::string text = FormatCreationDate(*date);
  const std::optional<Timestamp> again = ParseCreationDate(text);
  Require(again && again->seconds == date->seconds && again->nanoseconds == date->nanoseconds,
          "an instant comes back from its text");
}

}  // namespace tessary::test
