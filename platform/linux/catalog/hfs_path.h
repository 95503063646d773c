#pragma once

#include <optional>
#include <string>
#include <string_view>

// Paths in the HFS style: catalog names joined by ":", from a volume's name on. One volume is
// rooted at "/" and holds everything, so that mounts of the same name cannot be confused.
namespace tessary {

inline constexpr std::u16string_view kRootVolumeName = u"Linux";

// The HFS-style path of an absolute POSIX path, without ":" at its end: "Linux:home:a/b" for
// "/home/a:b", "Linux" for "/".
std::u16string HfsPath(std::string_view path);

// The reverse; one ":" at the end is passed over. None where it begins with another volume or holds
// what is no name of an object.
std::optional<std::string> PosixPath(std::u16string_view hfsPath);

}  // namespace tessary
