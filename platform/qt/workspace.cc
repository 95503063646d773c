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

// The file manager may take its time to start, which nobody waits for.
bool AskFileManager(const std::string& path, const char* method) {
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!HasFileManagerOnBus(bus)) return false;
  QDBusMessage call =
      QDBusMessage::createMethodCall(kFileManagerName, kFileManagerPath, kFileManagerName, method);
  call << QStringList{QString::fromStdString(FileUriFromPath(path))} << QString();
  return bus.send(call);
}

void LogNoFolderHandler(const std::string& path) {
  NSLog("Nothing on this desktop opens the folder \"" + path + "\".");
}

// xdg-open would lead back here where this program is the only one left for folders; and it
// tells only when it ends whether it found a program.
bool RunXdgOpen(const std::string& path) {
  if (IsThisProgramFolderHandler()) return false;
  const QString program = QStandardPaths::findExecutable("xdg-open");
  if (program.isEmpty()) return false;
  auto* process = new QProcess(QCoreApplication::instance());
  QObject::connect(process, &QProcess::finished, process,
                   [process, path](int exitCode, QProcess::ExitStatus status) {
                     const bool worked = status == QProcess::NormalExit && exitCode == 0;
                     if (!worked) LogNoFolderHandler(path);
                     process->deleteLater();
                   });
  process->setStandardInputFile(QProcess::nullDevice());
  process->setStandardOutputFile(QProcess::nullDevice());
  process->setStandardErrorFile(QProcess::nullDevice());
  process->start(program, {QFile::decodeName(path.c_str())});
  return process->waitForStarted();
}

bool OpenFolderWithAnyHandler(const std::string& path) {
  const std::optional<FolderHandler> handler = FindFolderHandler();
  if (handler && StartFolderHandler(*handler, path)) return true;
  return AskFileManager(path, "ShowFolders") || RunXdgOpen(path);
}

std::string ParentOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

}  // namespace

Status ShowFolder(const std::string& path) {
  const bool isShown = IsFolder(path) ? OpenFolderWithAnyHandler(path)
                                      : AskFileManager(path, "ShowItems") ||
                                            OpenFolderWithAnyHandler(ParentOf(path));
  if (isShown) return noErr;
  LogNoFolderHandler(path);
  return kLSApplicationNotFoundErr;
}

void ShowPage(const std::string& url) {
  const QUrl address(QString::fromStdString(url), QUrl::StrictMode);
  if (address.isValid() && QDesktopServices::openUrl(address)) return;
  NSLog("Nothing on this desktop opens the page " + url);
}

}  // namespace tessary
