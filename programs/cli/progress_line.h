#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tessary {

// The last line of a terminal during a run: the number of items handled, the rate, and the latest
// progress text. It is drawn on standard error, at most ten times a second, and erased for each
// line of the log. Does nothing if standard error is not a terminal. Only one may exist at a time,
// because it owns the log's hooks.
class ProgressLine {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // `now` returns the current time.
  explicit ProgressLine(std::function<Time()> now = std::chrono::steady_clock::now);

  // Erases the line.
  ~ProgressLine();

  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Counts one item.
  void CountItem();

  // Shows the text after the count.
  void ShowText(std::string_view text);

 private:
  void RedrawWhenDue();
  void Draw() const;
  void Erase() const;
  std::string LineText(Time time) const;

  const std::function<Time()> now_;
  const bool isTerminal_;
  const Time start_;
  Time nextRedraw_;
  uint64_t itemCount_ = 0;
  std::string text_;
  std::string line_;  // as drawn; empty before the first time
};

// The longest prefix of the UTF-8 `text` that fits into `columns` columns of a terminal, cut
// between characters. Control characters and bytes that are not valid UTF-8 become escapes. A
// character that may be two columns wide counts as two.
std::string FitToColumns(std::string_view text, int columns);

}  // namespace tessary
