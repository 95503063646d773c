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

// Events of the windows, menus and controls, and the targets that handle them.
namespace tessary {

inline constexpr OSType kEventClassCommand = FourCharCode("cmds");
inline constexpr uint32_t kEventCommandProcess = 1;
inline constexpr OSType kEventClassService = FourCharCode("serv");
inline constexpr uint32_t kEventServicePerform = 4;

inline constexpr OSType kEventParamDirectObject = FourCharCode("----");
inline constexpr OSType kEventParamServiceMessageName = FourCharCode("svmg");
inline constexpr OSType kEventParamPasteboardRef = FourCharCode("pbrd");

// What a menu item or a control asks for.
struct HICommand {
  OSType commandID = 0;
};

// A parameter's value: of type 'hcmd', 'cfst' (UTF-8) or 'pbrd'.
using EventParameter = std::variant<HICommand, std::string, PasteboardRef>;

struct Event {
  OSType eventClass = 0;
  uint32_t eventKind = 0;
  std::map<OSType, EventParameter> parameters;
};

// Reads a parameter of the type that `*value` has. Answers noErr, eventParameterNotFoundErr (none
// of that name, or of another type), paramErr (no out-argument). Written on success only.
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

// Handles an event: answers noErr when it is done with, eventNotHandledErr to let it pass on.
using EventHandler = std::function<Status(const Event&)>;

// Something that events are sent to, with its handlers. Copies share their handlers, so that a
// handler may end the thing that its target belongs to.
class EventTarget {
 public:
  // Installs a handler for one class and kind. It is asked before those installed earlier.
  // Answers noErr, paramErr (no handler).
  Status InstallHandler(OSType eventClass, uint32_t eventKind, EventHandler handler) {
    if (!handler) return paramErr;
    handlers_->push_back({eventClass, eventKind, std::move(handler)});
    return noErr;
  }

  // Asks the handlers for the event's class and kind until one answers other than
  // eventNotHandledErr, and gives that answer; eventNotHandledErr where none does.
  Status Send(const Event& event) const {
    const std::vector<Entry> asked = *handlers_;
    for (auto entry = asked.rbegin(); entry != asked.rend(); ++entry) {
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
