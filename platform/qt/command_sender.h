#pragma once

#include <QString>
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

  // Sends the command to `first` and, if that does not handle it, to the application. A quit
  // command that neither handles ends the event loop.
  void Send(const EventTarget& first, OSType commandID);

 private:
  TaskQueue* tasks_;
  EventTarget application_;
};

// Returns the command ID for the text of a form's property "commandID", or 0, which is not a
// command, if the text does not have exactly four characters.
OSType CommandIDFromText(const QString& text);

}  // namespace tessary
