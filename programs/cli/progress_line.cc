#include "programs/cli/progress_line.h"

#include <array>
#include <optional>

#include "platform/managers/console.h"
#include "platform/managers/log.h"
#include "platform/managers/text.h"
#include "platform/managers/utf16.h"

namespace tessary {
namespace {

constexpr std::chrono::milliseconds kRedrawInterval(100);

// Returns to the first column and erases to the end of the line.
constexpr std::string_view kEraseLine = "\r\x1b[K";

// The columns that a character takes, or more: a line that is cut early is harmless, a line that
// wraps is not. Everything below U+2300 is narrow, except the leading Hangul letters.
int ColumnsOf(char16_t unit) {
  return unit >= 0x2300 || (unit >= 0x1100 && unit <= 0x115F) ? 2 : 1;
}

// A lone low surrogate stands for a byte that is not valid UTF-8.
std::string EscapeByte(char16_t unit) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  return {'\\', 'x', kDigits[(unit >> 4) & 0xF], kDigits[unit & 0xF]};
}

}  // namespace

ProgressLine::ProgressLine(std::function<Time()> now)
    : now_(std::move(now)),
      isTerminal_(GetConsoleColumns().has_value()),
      start_(now_()),
      nextRedraw_(start_) {
  if (!isTerminal_) return;
  SetLogLineHooks({.before = [this] { Erase(); }, .after = [this] { Draw(); }});
}

ProgressLine::~ProgressLine() {
  if (!isTerminal_) return;
  SetLogLineHooks({});
  Erase();
}

void ProgressLine::CountItem() {
  ++itemCount_;
  RedrawWhenDue();
}

void ProgressLine::ShowText(std::string_view text) {
  if (!isTerminal_) return;
  text_ = text;
  RedrawWhenDue();
}

void ProgressLine::RedrawWhenDue() {
  if (!isTerminal_) return;
  const Time time = now_();
  if (time < nextRedraw_) return;
  nextRedraw_ = time + kRedrawInterval;
  const std::optional<int> columns = GetConsoleColumns();
  if (!columns) return;
  // Some terminals wrap after a character in the last column, so that it stays empty.
  line_ = FitToColumns(LineText(time), *columns - 1);
  Draw();
}

void ProgressLine::Draw() const {
  if (!line_.empty()) WriteToConsole(std::string(kEraseLine) + line_);
}

void ProgressLine::Erase() const {
  if (!line_.empty()) WriteToConsole(kEraseLine);
}

std::string ProgressLine::LineText(Time time) const {
  const double seconds = std::chrono::duration<double>(time - start_).count();
  std::string line = std::to_string(itemCount_) + (itemCount_ == 1 ? " item" : " items");
  // A rate over less than a second would be meaningless.
  if (seconds >= 1) {
    const auto rate = static_cast<uint64_t>(static_cast<double>(itemCount_) / seconds);
    line += ", " + std::to_string(rate) + "/s";
  }
  if (!text_.empty()) line += "  " + text_;
  return line;
}

std::string FitToColumns(std::string_view text, int columns) {
  const std::u16string units = Utf16FromUtf8(EscapeControlCharacters(text));
  std::string fitting;
  for (size_t i = 0; i < units.size();) {
    const bool isPair = IsHighSurrogate(units[i]) && i + 1 < units.size();
    const bool isByte = IsLowSurrogate(units[i]);
    const size_t length = isPair ? 2 : 1;
    const std::string piece =
        isByte ? EscapeByte(units[i]) : Utf8FromUtf16(std::u16string_view(units).substr(i, length));
    columns -= isByte ? static_cast<int>(piece.size()) : ColumnsOf(units[i]);
    if (columns < 0) break;
    fitting += piece;
    i += length;
  }
  return fitting;
}

}  // namespace tessary
