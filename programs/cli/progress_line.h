#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tessary {

// The line at the foot of a terminal that shows how a run gets on: the number of items handled, how
// many a second, and the latest progress text. It is drawn on standard error, brought up to date at
// most ten times a second, and makes way for each line of the log. Where standard error is no
// terminal it does nothing at all. One at a time, as it holds the hooks of the log while it lives.
class ProgressLine {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // `now` tells the time.
  explicit ProgressLine(std::function<Time()> now = std::chrono::steady_clock::now);

  // Erases the line.
  ~ProgressLine();

  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // One more item has been handled.
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
  std::string line_;  // as drawn, empty while nothing is
};

// As much of the beginning of the UTF-8 `text` as fits into `columns` columns of a terminal, never
// a part of a character. Control characters and bytes that are no UTF-8 are written as escapes. A
// character that may be two columns wide counts as two.
std::string FitToColumns(std::string_view text, int columns);

}  // namespace tessary
