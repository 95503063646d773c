#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/preferences_store.h"

namespace tessary::test {

// One setting of a preference in a text, as two fuzz programs read it from their inputs: a line
// with the key, a line with the value, and the text. The value is "b0" or "b1", "i" and a number,
// "s" and a string, or anything else for the key's removal.
struct PreferenceInput {
  std::string key;
  std::optional<CFPropertyList> value;
  std::string text;
};

PreferenceInput ReadPreferenceInput(std::string_view input);

}  // namespace tessary::test
