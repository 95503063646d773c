#include "platform/qt/service_request.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <optional>

#include "platform/managers/file_manager.h"
#include "platform/managers/log.h"
#include "platform/qt/bus_names.h"
#include "platform/qt/file_uris.h"

namespace tessary {
namespace {

constexpr char kMessageName[] = "aggregate";

// "file://..." is always a URI: as a relative path it would have an empty component, which is
// unlikely.
std::optional<std::string> PathOf(const std::string& folder) {
  if (folder.starts_with("file://")) return ResolveFileUri(folder);
  std::string path;
  return ResolveNamedPath(folder, &path) == noErr ? std::optional(path) : std::nullopt;
}

bool Request(const QDBusConnection& bus, const std::string& folder) {
  const std::optional<std::string> path = PathOf(folder);
  if (!path) {
    NSLog("Cannot aggregate \"" + folder + "\": there is no such folder on this machine.");
    return false;
  }
  QDBusMessage call =
      QDBusMessage::createMethodCall(kBusName, kObjectPath, kServiceInterface, "Perform");
  call << QString(kMessageName) << QStringList(QString::fromStdString(FileUriFromPath(*path)));
  const QDBusMessage answer = bus.call(call);
  if (answer.type() == QDBusMessage::ReplyMessage) return true;
  NSLog("Cannot aggregate \"" + folder + "\": the program was not reached on the session bus: " +
        answer.errorMessage().toStdString());
  return false;
}

}  // namespace

bool RequestAggregation(const std::vector<std::string>& folders) {
  if (folders.empty()) {
    NSLog("Missing folder: expected at least one after --aggregate.");
    return false;
  }
  // D-Bus calls in Qt need an application object. QCoreApplication needs no display.
  int count = 1;
  char program[] = "tessary";
  char* arguments[] = {program, nullptr};
  const QCoreApplication application(count, arguments);
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    NSLog("There is no session bus: cannot ask the program to aggregate a folder.");
    return false;
  }
  bool hasSucceeded = true;
  for (const std::string& folder : folders) hasSucceeded = Request(bus, folder) && hasSucceeded;
  return hasSucceeded;
}

}  // namespace tessary
