#pragma once

#include <string_view>

namespace tessary {

// What --help and --version print.
std::string_view HelpText();
std::string_view VersionText();

}  // namespace tessary
