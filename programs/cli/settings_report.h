#pragma once

#include <string>
#include <vector>

namespace tessary {

// What the user should know about the settings in force, each as one sentence: a preferences file
// that cannot be read, stored values of a type that is not read, a kind that files nothing. Empty
// when all is well. Synchronises with the store first.
std::vector<std::string> DescribeSettingProblems();

}  // namespace tessary
