#include "platform/qt/command_sender.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QString>

namespace tessary {
namespace {

constexpr OSType kCommandQuit = FourCharCode("quit");
constexpr qsizetype kCodeLength = 4;

Status SendTo(const EventTarget& target, OSType commandID) {
  return target.Send({.eventClass = kEventClassCommand,
                      .eventKind = kEventCommandProcess,
                      .parameters = {{kEventParamDirectObject, HICommand{commandID}}}});
}

}  // namespace

void CommandSender::Send(const EventTarget& first, OSType commandID) {
  tasks_->RunOrPost([this, first, commandID] { Deliver(first, commandID); });
}

void CommandSender::Deliver(const EventTarget& first, OSType commandID) const {
  if (SendTo(first, commandID) != eventNotHandledErr) return;
  if (SendTo(application_, commandID) != eventNotHandledErr) return;
  const auto standard = standardHandlers_.find(commandID);
  if (standard != standardHandlers_.end()) {
    standard->second();
  } else if (commandID == kCommandQuit) {
    // quit() would close the windows first, and closing the main window sends this command again.
    QCoreApplication::exit(0);
  }
}

OSType CommandIDFromText(const QString& text) {
  const QByteArray bytes = text.toLatin1();
  if (bytes.size() != kCodeLength) return 0;
  OSType code = 0;
  for (const char byte : bytes) code = code << 8 | static_cast<unsigned char>(byte);
  return code;
}

}  // namespace tessary
