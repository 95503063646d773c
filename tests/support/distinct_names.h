#pragma once

#include <string>

namespace tessary::test {

// Returns whether `name` is `original` or a distinct name made from it once or more often:
// "a - UUID.txt", "a - UUID - UUID.txt".
bool IsSameOrDistinctName(std::string name, const std::string& original);

}  // namespace tessary::test
