#pragma once

#include <QString>
#include <functional>
#include <map>
#include <utility>

#include "platform/managers/events.h"
#include "platform/qt/task_queue.h"

namespace tessary {

// Sends the commands of menus and controls to their handlers.
class CommandSender {
 public:
  // `tasks` is owned by the caller and must outlive this object.
  CommandSender(TaskQueue* tasks, EventTarget application)
      : tasks_(tasks), application_(std::move(application)) {}

  // Sends the command to `first` and, if that does not handle it, to the application. If neither
  // handles it, its standard handler is called. A quit command without one ends the event loop.
  void Send(const EventTarget& first, OSType commandID);

  // Sets the standard handler of a command.
  void SetStandardHandler(OSType commandID, std::function<void()> handler) {
    standardHandlers_[commandID] = std::move(handler);
  }

 private:
  void Deliver(const EventTarget& first, OSType commandID) const;

  TaskQueue* tasks_;
  EventTarget application_;
  std::map<OSType, std::function<void()>> standardHandlers_;
};

// Returns the command ID for the text of a form's property "commandID", or 0, which is not a
// command, if the text does not have exactly four characters.
OSType CommandIDFromText(const QString& text);

}  // namespace tessary
