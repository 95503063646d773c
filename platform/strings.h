#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/file_manager.h"

namespace tessary {

// The size of the buffer in which StringWithFSRef makes a path, its terminating zero included.
inline constexpr size_t kPathStringBufferSize = 4098;

// The POSIX path of the object, or none: for a null pointer, an object that is gone, or a path that
// does not fit in kPathStringBufferSize bytes.
std::optional<std::string> StringWithFSRef(const FSRef* ref);

// Makes the reference of the object at `path`. True exactly when that worked; on false `*ref` is
// not to be relied upon.
bool GetFSRef(const std::string& path, FSRef* ref);

// A short text: at most 255 bytes and a terminating zero, filled only by the helpers below, which
// truncate silently.
using ShortText = std::array<char, 256>;

// Makes the text empty and returns it.
ShortText& StrClear(ShortText& text);

// Makes the text the first 255 bytes of `source`, or empty where that is null, and returns it.
ShortText& StrCopyBounded(ShortText& text, const char* source);

// Appends as much of `source` as fits, nothing where that is null, and returns the text.
ShortText& StrAppendBounded(ShortText& text, const char* source);

// Appends the decimal text of `value` and returns the text.
ShortText& StrAppendInt(ShortText& text, int32_t value);

// Writes the decimal text of `value` into `buffer`, of `size` bytes, with at most size - 1 digits,
// the lowest ones; the sign comes on top of them, so that a negative value needs one byte more.
void IntToDecimal(char* buffer, size_t size, int32_t value);

// Reverses a zero-terminated text in place. A null pointer is left alone.
void StrReverse(char* text);

// Copies a four-character code with its four bytes in reverse order.
void SwapFourCharCode(const uint32_t* source, uint32_t* destination);

}  // namespace tessary
