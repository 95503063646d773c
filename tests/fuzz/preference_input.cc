#include "tests/fuzz/preference_input.h"

#include <charconv>

#include "tests/fuzz/fuzz.h"

namespace tessary::test {
namespace {

std::optional<CFPropertyList> ReadValue(std::string_view line) {
  const char type = line.empty() ? '-' : line.front();
  if (type == 'b') return CFPropertyList(line == "b1");
  if (type == 's') return CFPropertyList(std::string(line.substr(1)));
  if (type != 'i') return std::nullopt;
  int64_t number = 0;
  // Text that is not a number gives 0.
  (void)std::from_chars(line.data() + 1, line.data() + line.size(), number);
  return CFPropertyList(number);
}

}  // namespace

PreferenceInput ReadPreferenceInput(std::string_view input) {
  PreferenceInput result;
  result.key = TakeInputLine(&input);
  result.value = ReadValue(TakeInputLine(&input));
  result.text = input;
  return result;
}

}  // namespace tessary::test
