#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tessary {

// Writes one line to the log on standard error: the local time, the program's name, its process
// number and the message. Control characters are escaped, so that a message is always one line. A
// write error is ignored, because it cannot be reported anywhere.
void NSLog(std::string_view message);

// Called before and after each log line, so that a terminal's progress line can be cleared and
// redrawn.
struct LogLineHooks {
  std::function<void()> before;
  std::function<void()> after;
};

// Sets the hooks; empty functions remove them.
void SetLogLineHooks(LogLineHooks hooks);

// Returns the message as NSLog writes it: control characters (C0, DEL and C1) as escapes such as
// \n, \t and \x1b, everything else unchanged.
std::string EscapeControlCharacters(std::string_view message);

}  // namespace tessary
