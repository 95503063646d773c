#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/managers/four_char_code.h"
#include "platform/managers/pasteboard.h"
#include "platform/managers/status.h"

// Events of windows, menus and controls, and the targets that handle them.
namespace tessary {

inline constexpr OSType kEventClassCommand = FourCharCode("cmds");
inline constexpr uint32_t kEventCommandProcess = 1;
inline constexpr OSType kEventClassService = FourCharCode("serv");
inline constexpr uint32_t kEventServicePerform = 4;

inline constexpr OSType kEventParamDirectObject = FourCharCode("----");
inline constexpr OSType kEventParamServiceMessageName = FourCharCode("svmg");
inline constexpr OSType kEventParamPasteboardRef = FourCharCode("pbrd");

// The command of a menu item or a control.
struct HICommand {
  OSType commandID = 0;
};

// The value of a parameter: type 'hcmd', 'cfst' (UTF-8) or 'pbrd'.
using EventParameter = std::variant<HICommand, std::string, PasteboardRef>;

struct Event {
  OSType eventClass = 0;
  uint32_t eventKind = 0;
  std::map<OSType, EventParameter> parameters;
};

// Reads a parameter of the type of `*value`. Returns noErr; eventParameterNotFoundErr (no parameter
// of that name, or one of another type); paramErr (no out-argument). `*value` is written on success
// only.
template <typename Value>
Status GetEventParameter(const Event& event, OSType name, Value* value) {
  if (value == nullptr) return paramErr;
  const auto found = event.parameters.find(name);
  if (found == event.parameters.end()) return eventParameterNotFoundErr;
  const Value* held = std::get_if<Value>(&found->second);
  if (held == nullptr) return eventParameterNotFoundErr;
  *value = *held;
  return noErr;
}

// Handles an event. Returns eventNotHandledErr to pass the event on to the next handler; any other
// status ends the event, noErr meaning success.
using EventHandler = std::function<Status(const Event&)>;

// A list of handlers to which events are sent. Copies share the handlers, so that a handler may
// destroy the object that owns the target.
class EventTarget {
 public:
  // Installs a handler for one event class and kind. It is called before handlers that were
  // installed earlier. Returns noErr; paramErr (an empty handler).
  Status InstallHandler(OSType eventClass, uint32_t eventKind, EventHandler handler) {
    if (!handler) return paramErr;
    handlers_->push_back({eventClass, eventKind, std::move(handler)});
    return noErr;
  }

  // Calls the handlers of the event's class and kind, last installed first, until one returns a
  // status other than eventNotHandledErr. Returns that status, or eventNotHandledErr if there is
  // none. Works on a copy of the list, because a handler may install another one.
  Status Send(const Event& event) const {
    const std::vector<Entry> handlers = *handlers_;
    for (auto entry = handlers.rbegin(); entry != handlers.rend(); ++entry) {
      if (entry->eventClass != event.eventClass || entry->eventKind != event.eventKind) continue;
      const Status status = entry->handler(event);
      if (status != eventNotHandledErr) return status;
    }
    return eventNotHandledErr;
  }

 private:
  struct Entry {
    OSType eventClass;
    uint32_t eventKind;
    EventHandler handler;
  };

  std::shared_ptr<std::vector<Entry>> handlers_ = std::make_shared<std::vector<Entry>>();
};

}  // namespace tessary
