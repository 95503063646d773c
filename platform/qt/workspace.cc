#include "platform/qt/workspace.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <optional>

#include "platform/managers/log.h"
#include "platform/qt/file_uris.h"
#include "platform/qt/folder_handler.h"

namespace tessary {
namespace {

constexpr char kFileManagerName[] = "org.freedesktop.FileManager1";
constexpr char kFileManagerPath[] = "/org/freedesktop/FileManager1";

bool IsFolder(const std::string& path) {
  return QFileInfo(QFile::decodeName(path.c_str())).isDir();
}

bool HasFileManagerOnBus(const QDBusConnection& bus) {
  if (!bus.isConnected()) return false;
  if (bus.interface()->isServiceRegistered(kFileManagerName)) return true;
  const QDBusReply<QStringList> startable = bus.interface()->activatableServiceNames();
  return startable.isValid() && startable.value().contains(kFileManagerName);
}

// Calls a method of org.freedesktop.FileManager1 without waiting for the answer, because the file
// manager may take long to start. Returns false if there is none.
bool CallFileManager(const std::string& path, const char* method) {
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!HasFileManagerOnBus(bus)) return false;
  QDBusMessage call =
      QDBusMessage::createMethodCall(kFileManagerName, kFileManagerPath, kFileManagerName, method);
  call << QStringList{QString::fromStdString(FileUriFromPath(path))} << QString();
  return bus.send(call);
}

void LogNoFolderHandler(const std::string& path) {
  NSLog("No application on this desktop opens the folder \"" + path + "\".");
}

void LogNoPageHandler(const std::string& url) {
  NSLog("No application on this desktop opens the page " + url);
}

// Starts xdg-open and returns true. It reports only on exit whether it found a program, so that
// `logFailure` is called then. Returns false if xdg-open is not installed.
bool RunXdgOpen(const QString& object, const std::function<void()>& logFailure) {
  const QString program = QStandardPaths::findExecutable("xdg-open");
  if (program.isEmpty()) return false;
  auto* process = new QProcess(QCoreApplication::instance());
  QObject::connect(process, &QProcess::finished, process,
                   [process, logFailure](int exitCode, QProcess::ExitStatus status) {
                     const bool worked = status == QProcess::NormalExit && exitCode == 0;
                     if (!worked) logFailure();
                     process->deleteLater();
                   });
  process->setStandardInputFile(QProcess::nullDevice());
  process->setStandardOutputFile(QProcess::nullDevice());
  process->setStandardErrorFile(QProcess::nullDevice());
  process->start(program, {object});
  return process->waitForStarted();
}

// Not if this program is associated with folders, because xdg-open could start this program again.
bool OpenFolderWithXdgOpen(const std::string& path) {
  if (IsThisProgramFolderHandler()) return false;
  return RunXdgOpen(QFile::decodeName(path.c_str()), [path] { LogNoFolderHandler(path); });
}

bool OpenFolderWithAnyHandler(const std::string& path) {
  const std::optional<FolderHandler> handler = FindFolderHandler();
  if (handler && StartFolderHandler(*handler, path)) return true;
  return CallFileManager(path, "ShowFolders") || OpenFolderWithXdgOpen(path);
}

std::string ParentOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

}  // namespace

Status ShowFolder(const std::string& path) {
  const bool isShown = IsFolder(path) ? OpenFolderWithAnyHandler(path)
                                      : CallFileManager(path, "ShowItems") ||
                                            OpenFolderWithAnyHandler(ParentOf(path));
  if (isShown) return noErr;
  LogNoFolderHandler(path);
  return kLSApplicationNotFoundErr;
}

// QUrl converts the host to lower case, which changes the component of an "appstream:" URL. Such a
// URL goes unchanged to xdg-open or, in a sandbox, to the portal that replaces it.
void ShowPage(const std::string& url) {
  const QUrl address(QString::fromStdString(url), QUrl::StrictMode);
  const bool isUnchanged = address.isValid() && address.toEncoded().toStdString() == url;
  if (isUnchanged ? QDesktopServices::openUrl(address)
                  : RunXdgOpen(QString::fromStdString(url), [url] { LogNoPageHandler(url); })) {
    return;
  }
  LogNoPageHandler(url);
}

}  // namespace tessary
