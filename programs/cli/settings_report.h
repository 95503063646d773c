#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/managers/preferences_store.h"
#include "settings/preferences.h"

namespace tessary {

// Returns what is expected instead of an invalid value: "a whole number", "1 or 2". None if the
// value is valid. The accessors use the default in place of a value of the wrong type; they return
// a number that names nothing.
std::optional<std::string> ExpectedInstead(const Setting& setting, const CFPropertyList& value);

// Returns the problems of the settings in force, one line each: a preferences file that cannot be
// read, unknown keys in it, and invalid values, except an invalid kind. Empty if there are none.
// Synchronises with the store first.
std::vector<std::string> DescribeSettingProblems();

// The problem of a TessaryType that is not one of the five kinds, with which a run does nothing;
// none if it is valid.
std::optional<std::string> DescribeInvalidKind();

}  // namespace tessary
