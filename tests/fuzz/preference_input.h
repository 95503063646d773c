#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/preferences_store.h"

namespace tessary::test {

// A preferences text and a change to it, parsed from an input: a line with the key, a line with the
// value, and the text. The value is "b0" or "b1", "i" and a number, "s" and a string, or anything
// else to remove the key.
struct PreferenceInput {
  std::string key;
  std::optional<CFPropertyList> value;
  std::string text;
};

PreferenceInput ReadPreferenceInput(std::string_view input);

}  // namespace tessary::test
