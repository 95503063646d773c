#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/status.h"

// Small text files that users and other programs write.
namespace tessary {

// The size limit of ReadTextFile, in bytes: 4 MiB.
inline constexpr size_t kMaxTextFileSize = size_t{4} << 20U;

// U+FEFF in UTF-8, with which some editors begin a text file.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Reads the regular file at `path`, following links, without a byte order mark at its start.
// Returns noErr, paramErr (no out-argument, not a regular file, or larger than kMaxTextFileSize),
// otherwise the status of the filesystem. `*text` is written on success only.
Status ReadTextFile(const std::string& path, std::string* text);

// Removes the first line from `*text` and returns it without its line end (LF, CR LF or the end of
// the text); none if `*text` is empty.
std::optional<std::string_view> TakeLine(std::string_view* text);

}  // namespace tessary
