#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tessary {

// Writes one message to the system log: a line on standard error with the time, the program's name
// and its process number before it. Control characters are written as escapes, so that a message is
// always one line. A failure to write is not reported: there is nowhere to report it.
void NSLog(std::string_view message);

// Called around the writing of each log line, so that a terminal's status line can make way for it.
struct LogLineHooks {
  std::function<void()> before;
  std::function<void()> after;
};

// Registers the hooks; an empty record removes them.
void SetLogLineHooks(LogLineHooks hooks);

// The text of a message as it is written: control characters (C0, DEL and C1) as \n, \t, \x1b and
// the like, everything else as it stands.
std::string EscapeControlCharacters(std::string_view message);

}  // namespace tessary
