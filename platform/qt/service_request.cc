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

// A relative path that begins like a URI would hold an empty component, which nobody writes.
std::optional<std::string> PathOf(const std::string& named) {
  if (named.starts_with("file://")) return ResolveFileUri(named);
  std::string path;
  return ResolveNamedPath(named, &path) == noErr ? std::optional(path) : std::nullopt;
}

bool Request(const QDBusConnection& bus, const std::string& named) {
  const std::optional<std::string> path = PathOf(named);
  if (!path) {
    NSLog("Cannot aggregate \"" + named + "\": there is no such folder on this machine.");
    return false;
  }
  QDBusMessage call =
      QDBusMessage::createMethodCall(kBusName, kObjectPath, kServiceInterface, "Perform");
  call << QString(kMessageName) << QStringList(QString::fromStdString(FileUriFromPath(*path)));
  const QDBusMessage answer = bus.call(call);
  if (answer.type() == QDBusMessage::ReplyMessage) return true;
  NSLog("Cannot aggregate \"" + named + "\": the program was not reached on the session bus: " +
        answer.errorMessage().toStdString());
  return false;
}

}  // namespace

bool RequestAggregation(const std::vector<std::string>& named) {
  if (named.empty()) {
    NSLog("No folder was named: give one or more after --aggregate.");
    return false;
  }
  // What Qt does on a bus needs an application, and this one has no windows.
  int count = 1;
  char program[] = "tessary";
  char* arguments[] = {program, nullptr};
  const QCoreApplication application(count, arguments);
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    NSLog("There is no session bus on which the program could be asked to aggregate a folder.");
    return false;
  }
  bool isAsked = true;
  for (const std::string& name : named) isAsked = Request(bus, name) && isAsked;
  return isAsked;
}

}  // namespace tessary
