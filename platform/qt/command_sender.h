#pragma once

#include <QString>
#include <utility>

#include "platform/managers/events.h"
#include "platform/qt/task_queue.h"

namespace tessary {

// Takes the commands of menus and controls to those who handle them.
class CommandSender {
 public:
  // `tasks` is the caller's and outlives this.
  CommandSender(TaskQueue* tasks, EventTarget application)
      : tasks_(tasks), application_(std::move(application)) {}

  // Sends the command to `first`, then, where that does not handle it, to the application. A quit
  // command that neither handles ends the event loop.
  void Send(const EventTarget& first, OSType commandID);

 private:
  TaskQueue* tasks_;
  EventTarget application_;
};

// The command that the text of a form's property "commandID" names; 0, which no command has, for a
// text of another length than four characters.
OSType CommandIDFromText(const QString& text);

}  // namespace tessary
