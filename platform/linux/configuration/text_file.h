#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/status.h"

// Small text files that people and other programs write.
namespace tessary {

// The most that ReadTextFile reads: 4 MiB.
inline constexpr size_t kMaxTextFileSize = size_t{4} << 20U;

// Reads the whole regular file at `path`, links followed, less a byte-order mark at its start.
// noErr; paramErr (no out-argument, no regular file, or one larger than kMaxTextFileSize); else
// what the file system reports. `*text` is written on success only.
Status ReadTextFile(const std::string& path, std::string* text);

// Takes the first line off the front of `*text` and returns it without its end, which is LF, CR LF
// or the end of the text; none when nothing is left.
std::optional<std::string_view> TakeLine(std::string_view* text);

}  // namespace tessary
