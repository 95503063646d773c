#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/managers/preferences_store.h"
#include "settings/preferences.h"

namespace tessary {

// True for a stored value of that type. The accessors use the default in place of any other.
bool HasType(const CFPropertyList& value, SettingType type);

// The problems of the settings in force, one line each: a preferences file that cannot be read, and
// stored values of the wrong type. Empty if there are none. Synchronises with the store first.
std::vector<std::string> DescribeSettingProblems();

// The problem of a TessaryType that is not one of the five kinds, with which a run does nothing;
// none if it is valid.
std::optional<std::string> DescribeInvalidKind();

}  // namespace tessary
