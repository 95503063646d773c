#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/file_manager.h"

namespace tessary {

// The size of the path buffer of StringWithFSRef in bytes, including the terminating zero.
inline constexpr size_t kPathStringBufferSize = 4098;

// Returns the POSIX path of the object. None for a null pointer, for an object that does not exist,
// and for a path that does not fit in kPathStringBufferSize bytes.
std::optional<std::string> StringWithFSRef(const FSRef* ref);

// Makes the reference of the object at `path`. Returns true on success; otherwise `*ref` is
// unspecified.
bool GetFSRef(const std::string& path, FSRef* ref);

// At most 255 bytes and a terminating zero. Filled only by the functions below, which truncate
// silently.
using ShortText = std::array<char, 256>;

// Makes the text empty. Returns `text`.
ShortText& StrClear(ShortText& text);

// Sets the text to the first 255 bytes of `source`, or to the empty text if `source` is null.
// Returns `text`.
ShortText& StrCopyBounded(ShortText& text, const char* source);

// Appends as much of `source` as fits, or nothing if it is null. `source` may be `text` itself.
// Returns `text`.
ShortText& StrAppendBounded(ShortText& text, const char* source);

// Appends the decimal digits of `value`, truncated like any text. Returns `text`.
ShortText& StrAppendInt(ShortText& text, int32_t value);

// Writes the decimal digits of `value` and a terminating zero to `buffer`, at most the lowest
// `size` - 1 digits. The sign of a negative value is not counted: it needs a buffer of `size` + 1
// bytes.
void IntToDecimal(char* buffer, size_t size, int32_t value);

// Reverses a zero-terminated text in place. Does nothing for a null pointer.
void StrReverse(char* text);

// Writes the four bytes of `*source` to `*destination` in reverse order.
void SwapFourCharCode(const uint32_t* source, uint32_t* destination);

}  // namespace tessary
