#pragma once

#include <string>
#include <string_view>

// The script that Nautilus shows in its menu under the name of the file.
namespace tessary {

inline constexpr std::string_view kNautilusScriptName = "Aggregate with Tessary…";

std::string NautilusScript();

// True for a script that any version of this program has written.
bool IsNautilusScript(std::string_view text);

}  // namespace tessary
