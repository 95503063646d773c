#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tessary {

// Writes one line to the log on standard error: the local time, the program's name, its process
// number and the message. Control characters are escaped, so that a message is always one line. A
// write error is ignored, because it cannot be reported anywhere.
void NSLog(std::string_view message);

// Writes a line that says what went well, like NSLog. Does nothing after SetSuccessLogging(false).
void LogSuccess(std::string_view message);

// Sets whether LogSuccess writes, which is the default.
void SetSuccessLogging(bool isOn);

// Returns true if the log goes to a terminal.
bool IsLogOnTerminal();

// Called before and after each log line, so that a terminal's progress line can be cleared and
// redrawn.
struct LogLineHooks {
  std::function<void()> before;
  std::function<void()> after;
};

// Sets the hooks; empty functions remove them.
void SetLogLineHooks(LogLineHooks hooks);

// A line of the log. The views are valid only during the call of the listener.
struct LogLine {
  std::string_view time;     // local: "2026-11-21 13:32:00.123"
  std::string_view message;  // with control characters escaped
};

// Called after each log line, on the thread that logs it. The listener may log, too.
using LogListener = std::function<void(const LogLine& line)>;

// Sets the listener; an empty function removes it.
void SetLogListener(LogListener listener);

// Returns the message as NSLog writes it: control characters (C0, DEL and C1) as escapes such as
// \n, \t and \x1b. Line and paragraph separators and bidirectional controls, by which a name could
// make a terminal show another one, are escaped as \u202e. Everything else is unchanged.
std::string EscapeControlCharacters(std::string_view message);

}  // namespace tessary
