#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tessary {

// The problems of the settings in force, one line each: a preferences file that cannot be read, and
// stored values of the wrong type. Empty if there are none. Synchronises with the store first.
std::vector<std::string> DescribeSettingProblems();

// The problem of a TessaryType that is not one of the five kinds, with which a run does nothing;
// none if it is valid.
std::optional<std::string> DescribeInvalidKind();

}  // namespace tessary
