#include "platform/managers/log.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <ctime>
#include <utility>

#include "platform/linux/log/standard_error.h"
#include "platform/linux/time/local_time.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

// State kept between log lines. A run can log a line for each of a million items, so the timestamp
// is formatted once per second and the buffer of the line is reused.
struct LogState {
  LogLineHooks hooks;
  LogListener listener;
  bool logsSuccess = true;
  std::string identity;  // " NAME[PID] "; empty if it must be formatted again
  bool isSecondKnown = false;
  time_t second = 0;
  std::string secondText;
  std::string line;
};

// Never destroyed, because destructors of other static objects may log.
LogState& State() {
  static LogState& state = *new LogState;
  return state;
}

void AppendHexEscape(unsigned char value, std::string* text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  *text += "\\x";
  text->push_back(kDigits[value >> 4U]);
  text->push_back(kDigits[value & 0x0FU]);
}

void AppendControlCharacter(unsigned char value, std::string* text) {
  switch (value) {
    case '\n':
      *text += "\\n";
      break;
    case '\r':
      *text += "\\r";
      break;
    case '\t':
      *text += "\\t";
      break;
    default:
      AppendHexEscape(value, text);
  }
}

// Returns the length of the well-formed multi-byte sequence at the start of `text`, or 0.
size_t LongSequenceLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0xC2) return 0;
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  return text.size() >= length && IsUtf8(text.substr(0, length)) ? length : 0;
}

// Returns true for U+2028 and U+2029, which separate lines, and for the bidirectional controls
// U+202A to U+202E and U+2066 to U+2069. `character` is one well-formed sequence.
bool IsSeparatorOrBidirectional(std::string_view character) {
  if (character.size() != 3 || character[0] != '\xE2') return false;
  const auto last = static_cast<unsigned char>(character[2]);
  return (character[1] == '\x80' && last >= 0xA8 && last <= 0xAE) ||
         (character[1] == '\x81' && last >= 0xA6 && last <= 0xA9);
}

// Appends the escape of a character of U+2000 to U+207F.
void AppendUnicodeEscape(std::string_view character, std::string* text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto last = static_cast<unsigned char>(character[2]);
  const unsigned low = (character[1] == '\x81' ? 0x40U : 0U) | (last & 0x3FU);
  *text += "\\u20";
  text->push_back(kDigits[low >> 4U]);
  text->push_back(kDigits[low & 0x0FU]);
}

// Appends the non-ASCII character or byte at the start of `message` and returns its length in
// bytes. C1 controls are escaped both as UTF-8 and as single bytes, which terminals without UTF-8
// interpret as controls.
size_t AppendNonAscii(std::string_view message, std::string* text) {
  const auto first = static_cast<unsigned char>(message[0]);
  const size_t length = LongSequenceLength(message);
  if (length == 0 && first <= 0x9F) {
    AppendHexEscape(first, text);
  } else if (length == 2 && first == 0xC2 && static_cast<unsigned char>(message[1]) <= 0x9F) {
    AppendHexEscape(static_cast<unsigned char>(message[1]), text);
  } else if (IsSeparatorOrBidirectional(message.substr(0, length))) {
    AppendUnicodeEscape(message, text);
  } else {
    text->append(message.substr(0, length == 0 ? 1 : length));
  }
  return length == 0 ? 1 : length;
}

void AppendEscaped(std::string_view message, std::string* text) {
  while (!message.empty()) {
    size_t plain = 0;
    while (plain < message.size() && message[plain] >= 0x20 && message[plain] < 0x7F) ++plain;
    text->append(message.substr(0, plain));
    message.remove_prefix(plain);
    if (message.empty()) return;
    const auto first = static_cast<unsigned char>(message[0]);
    if (first >= 0x80) {
      message.remove_prefix(AppendNonAscii(message, text));
    } else {
      AppendControlCharacter(first, text);
      message.remove_prefix(1);
    }
  }
}

void AppendTime(LogState* state) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  if (!state->isSecondKnown || now.tv_sec != state->second) {
    const std::tm local = LocalTime(now.tv_sec).value_or(std::tm{});
    std::array<char, 64> text = {};
    state->secondText.assign(text.data(),
                             strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S.", &local));
    state->second = now.tv_sec;
    state->isSecondKnown = true;
  }
  state->line += state->secondText;
  const auto milliseconds = static_cast<unsigned>(now.tv_nsec / 1'000'000);
  state->line.push_back(static_cast<char>('0' + milliseconds / 100));
  state->line.push_back(static_cast<char>('0' + milliseconds / 10 % 10));
  state->line.push_back(static_cast<char>('0' + milliseconds % 10));
}

// Called in the child of a fork, which has another process ID.
void ForgetIdentity() { State().identity.clear(); }

void AppendProgram(LogState* state) {
  static const bool isAtforkRegistered = pthread_atfork(nullptr, nullptr, ForgetIdentity) == 0;
  if (!isAtforkRegistered) ForgetIdentity();
  if (state->identity.empty()) {
    state->identity = ' ' + EscapeControlCharacters(program_invocation_short_name) + '[' +
                      std::to_string(getpid()) + "] ";
  }
  state->line += state->identity;
}

}  // namespace

void NSLog(std::string_view message) try {
  LogState& state = State();
  state.line.clear();
  AppendTime(&state);
  const size_t timeLength = state.line.size();
  AppendProgram(&state);
  const size_t messageStart = state.line.size();
  AppendEscaped(message, &state.line);
  state.line += '\n';
  if (state.hooks.before) state.hooks.before();
  WriteToStandardError(state.line);
  if (state.hooks.after) state.hooks.after();
  if (!state.listener) return;
  const std::string_view line(state.line.data(), state.line.size() - 1);
  state.listener({.time = line.substr(0, timeLength), .message = line.substr(messageStart)});
} catch (const std::bad_alloc&) {
  WriteToStandardError("out of memory: a log line was lost\n");
}

void LogSuccess(std::string_view message) {
  if (State().logsSuccess) NSLog(message);
}

void SetSuccessLogging(bool isOn) { State().logsSuccess = isOn; }

bool IsLogOnTerminal() { return isatty(STDERR_FILENO) != 0; }

void SetLogLineHooks(LogLineHooks hooks) { State().hooks = std::move(hooks); }

void SetLogListener(LogListener listener) { State().listener = std::move(listener); }

std::string EscapeControlCharacters(std::string_view message) {
  std::string text;
  text.reserve(message.size());
  AppendEscaped(message, &text);
  return text;
}

}  // namespace tessary
