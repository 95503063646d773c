#include "platform/qt/folder_handler.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <algorithm>
#include <array>

#include "platform/qt/file_uris.h"

namespace tessary {
namespace {

constexpr char kFolderType[] = "inode/directory";

// The desktop entries of this program: the main one, and the one that handles folders.
constexpr std::array<const char*, 2> kOurEntries = {"org.tessary.Tessary.desktop",
                                                    "zz-org.tessary.Tessary-folders.desktop"};

// Reads the value of a key in a section of a key file, or an empty string if there is none.
QString ReadKey(const QString& path, const QString& section, const QString& key) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return {};
  QTextStream lines(&file);
  bool isInSection = false;
  for (QString line; lines.readLineInto(&line);) {
    line = line.trimmed();
    if (line.startsWith('[')) isInSection = line == "[" + section + "]";
    const qsizetype equals = line.indexOf('=');
    if (!isInSection || equals < 0 || line.left(equals).trimmed() != key) continue;
    return line.mid(equals + 1).trimmed();
  }
  return {};
}

QStringList EntriesIn(const QString& path, const QString& section) {
  return ReadKey(path, section, kFolderType).split(';', Qt::SkipEmptyParts);
}

// The folders of configuration files and of desktop entries, the user's first.
QStringList ConfigFolders() {
  return QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation);
}

QStringList ProgramFolders() {
  QStringList folders = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
  for (QString& folder : folders) folder += "/applications";
  return folders;
}

// The names of the association files for this desktop, most specific first.
QStringList AssociationFiles() {
  QStringList names;
  const QString desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
  const QStringList list = desktops.split(':', Qt::SkipEmptyParts);
  for (const QString& desktop : list) names.append(desktop.toLower() + "-mimeapps.list");
  names.append("mimeapps.list");
  return names;
}

// The entries for inode/directory in a folder of desktop entries: from its cache or, if there is no
// cache, from the entries themselves.
QStringList EntriesForFolders(const QString& folder) {
  const QString cache = folder + "/mimeinfo.cache";
  if (QFile::exists(cache)) return EntriesIn(cache, "MIME Cache");
  QStringList entries = QDir(folder).entryList({"*.desktop"}, QDir::Files, QDir::Name);
  entries.removeIf([&folder](const QString& entry) {
    const QString types = ReadKey(folder + "/" + entry, "Desktop Entry", "MimeType");
    return !types.split(';').contains(kFolderType);
  });
  return entries;
}

// The entries that are associated with folders, most preferred first. Some may not be installed.
QStringList CandidateEntries() {
  QStringList defaults;
  QStringList others;
  const QStringList folders = ConfigFolders() + ProgramFolders();
  const QStringList names = AssociationFiles();
  for (const QString& folder : folders) {
    for (const QString& name : names) {
      const QString path = folder + "/" + name;
      defaults += EntriesIn(path, "Default Applications");
      others += EntriesIn(path, "Added Associations");
    }
  }
  const QStringList programs = ProgramFolders();
  for (const QString& folder : programs) {
    others += EntriesForFolders(folder);
  }
  return defaults + others;
}

// The Exec line of an entry, or an empty string if the entry or its program is not installed.
QString CommandOfEntry(const QString& entry) {
  const QStringList folders = ProgramFolders();
  for (const QString& folder : folders) {
    const QString path = folder + "/" + entry;
    if (!QFile::exists(path)) continue;
    if (ReadKey(path, "Desktop Entry", "Hidden") == "true") return {};
    const QString required = ReadKey(path, "Desktop Entry", "TryExec");
    if (!required.isEmpty() && QStandardPaths::findExecutable(required).isEmpty()) return {};
    const QString command = ReadKey(path, "Desktop Entry", "Exec");
    const QStringList words = QProcess::splitCommand(command);
    const bool exists = !words.isEmpty() && !QStandardPaths::findExecutable(words[0]).isEmpty();
    return exists ? command : QString();
  }
  return {};
}

bool IsOurs(const QString& entry) { return std::ranges::count(kOurEntries, entry) != 0; }

}  // namespace

std::optional<FolderHandler> FindFolderHandler() {
  const QStringList entries = CandidateEntries();
  for (const QString& entry : entries) {
    if (IsOurs(entry)) continue;
    const QString command = CommandOfEntry(entry);
    if (command.isEmpty()) continue;
    return FolderHandler{.entry = entry.toStdString(), .command = command.toStdString()};
  }
  return std::nullopt;
}

// Looks for the entries themselves, too: a cache may be older than an entry, and other programs do
// not rely on the cache.
bool IsThisProgramFolderHandler() {
  if (std::ranges::any_of(CandidateEntries(), IsOurs)) return true;
  const QStringList folders = ProgramFolders();
  return std::ranges::any_of(folders, [](const QString& folder) {
    return std::ranges::any_of(
        kOurEntries, [&folder](const char* entry) { return QFile::exists(folder + "/" + entry); });
  });
}

bool StartFolderHandler(const FolderHandler& handler, const std::string& path) {
  QStringList arguments;
  bool hasFieldCode = false;
  const QString pathText = QFile::decodeName(path.c_str());
  const QStringList words = QProcess::splitCommand(QString::fromStdString(handler.command));
  for (const QString& word : words) {
    if (word == "%u" || word == "%U") {
      arguments.append(QString::fromStdString(FileUriFromPath(path)));
      hasFieldCode = true;
    } else if (word == "%f" || word == "%F") {
      arguments.append(pathText);
      hasFieldCode = true;
    } else if (word == "%%") {
      arguments.append("%");
    } else if (word.size() != 2 || word[0] != '%') {
      arguments.append(word);
    }
  }
  if (arguments.isEmpty()) return false;
  if (!hasFieldCode) arguments.append(pathText);
  const QString program = arguments.takeFirst();
  return QProcess::startDetached(program, arguments);
}

}  // namespace tessary
