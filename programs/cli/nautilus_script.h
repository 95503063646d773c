#pragma once

#include <string>
#include <string_view>

// The script that stands in Nautilus' menu under its own file name.
namespace tessary {

inline constexpr std::string_view kNautilusScriptName = "Aggregate with Tessary…";

std::string NautilusScript();

// True for a text that this program has written, also in another version of it.
bool IsNautilusScript(std::string_view text);

}  // namespace tessary
