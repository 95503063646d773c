#pragma once

#include <optional>
#include <string>
#include <string_view>

// Paths in HFS style: a volume's name and catalog names, joined by ":". There is only one volume,
// rooted at "/": mount points have no names of their own, and two with the same name would be
// ambiguous.
namespace tessary {

inline constexpr std::u16string_view kRootVolumeName = u"Linux";

// Converts an absolute POSIX path, without a ":" at the end: "/home/a:b" becomes "Linux:home:a/b",
// and "/" becomes "Linux".
std::u16string HfsPath(std::string_view path);

// Converts an HFS-style path to a POSIX path; one ":" at the end is ignored. None if it begins with
// another volume, or if a component is not the name of an object.
std::optional<std::string> PosixPath(std::u16string_view hfsPath);

}  // namespace tessary
