#include "platform/strings.h"

#include <algorithm>
#include <cstring>

namespace tessary {
namespace {

constexpr size_t kMaxShortTextLength = ShortText().size() - 1;

// The size of the buffer for the digits of a number.
constexpr size_t kNumberTextSize = 31;

}  // namespace

std::optional<std::string> StringWithFSRef(const FSRef* ref) {
  if (ref == nullptr) return std::nullopt;
  std::array<char, kPathStringBufferSize> path;
  if (FSRefMakePath(*ref, path.data(), path.size()) != noErr) return std::nullopt;
  return path.data();
}

bool GetFSRef(const std::string& path, FSRef* ref) {
  // A zero byte would end the path early, which would then name another object.
  if (path.find('\0') != std::string::npos) return false;
  return FSPathMakeRef(path.c_str(), ref) == noErr;
}

ShortText& StrClear(ShortText& text) {
  text[0] = '\0';
  return text;
}

ShortText& StrCopyBounded(ShortText& text, const char* source) {
  return StrAppendBounded(StrClear(text), source);
}

ShortText& StrAppendBounded(ShortText& text, const char* source) {
  if (source == nullptr) return text;
  const size_t length = strnlen(text.data(), kMaxShortTextLength);
  const size_t appended = strnlen(source, kMaxShortTextLength - length);
  // The source may be the text itself.
  std::memmove(text.data() + length, source, appended);
  text[length + appended] = '\0';
  return text;
}

ShortText& StrAppendInt(ShortText& text, int32_t value) {
  std::array<char, kNumberTextSize> number = {};
  IntToDecimal(number.data(), number.size(), value);
  return StrAppendBounded(text, number.data());
}

void IntToDecimal(char* buffer, size_t size, int32_t value) {
  if (buffer == nullptr || size == 0) return;
  // The magnitude of the lowest value does not fit the signed type.
  uint32_t magnitude = value < 0 ? 0U - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  size_t length = 0;
  bool isLastDigit = false;
  while (length < size - 1 && !isLastDigit) {
    isLastDigit = magnitude <= 9;
    buffer[length++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  }
  if (value < 0) buffer[length++] = '-';
  buffer[length] = '\0';
  StrReverse(buffer);
}

void StrReverse(char* text) {
  if (text == nullptr) return;
  std::reverse(text, text + std::strlen(text));
}

void SwapFourCharCode(const uint32_t* source, uint32_t* destination) {
  const uint32_t code = *source;
  *destination = code << 24U | (code & 0xFF00U) << 8U | (code >> 8U & 0xFF00U) | code >> 24U;
}

}  // namespace tessary
