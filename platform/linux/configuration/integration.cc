#include "platform/managers/integration.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "platform/linux/configuration/config_folder.h"
#include "platform/linux/configuration/file_replacement.h"
#include "platform/linux/configuration/stamped_file.h"
#include "platform/linux/configuration/text_file.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// The number of attempts if another program saves the file during an edit.
constexpr int kMaxEditAttempts = 10;

constexpr mode_t kOwnerReadExecute = S_IRUSR | S_IXUSR;

struct MenuFile {
  std::optional<std::string> text;
  std::optional<FileStamp> stamp;
};

// Reads a file; no text and no stamp if it is missing. Keeps a byte order mark, which is written
// back with the text.
Status ReadIfExists(const std::string& path, MenuFile* file) {
  StampedFile read;
  const Status status = ReadStampedFile(path.c_str(), kMaxTextFileSize + 1, &read);
  *file = {};
  if (status == fnfErr) return noErr;
  if (status != noErr) return status;
  if (read.text.size() > kMaxTextFileSize) return paramErr;
  *file = {.text = std::move(read.text), .stamp = read.stamp};
  return noErr;
}

bool IsLink(const std::string& path) {
  struct stat info = {};
  return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

Status MakeExecutable(const std::string& path) {
  struct stat info = {};
  if (stat(path.c_str(), &info) != 0) return LastError();
  if ((info.st_mode & kOwnerReadExecute) == kOwnerReadExecute) return noErr;
  return chmod(path.c_str(), (info.st_mode & 07777) | kOwnerReadExecute) == 0 ? noErr : LastError();
}

Status DeleteIfUnchanged(const std::string& path, const MenuFile& file) {
  if (!file.stamp) return noErr;
  FileStamp stamp;
  const Status status = ReadFileStamp(path.c_str(), &stamp);
  if (status != noErr || stamp != *file.stamp) return fBsyErr;
  return unlink(path.c_str()) == 0 ? noErr : LastError();
}

// Edits the file once. fBsyErr if another program changed the file since it was read.
Status EditOnce(const std::string& path, MenuFileKind kind, const MenuFileEditor& editor,
                FileReplacement* replacement) {
  MenuFile file;
  Status status = ReadIfExists(replacement->target(), &file);
  if (status != noErr) return status;
  std::string newText;
  const MenuFileChange change = editor(file.text, &newText);
  if (change == MenuFileChange::kNone) return noErr;
  // The target of a link is emptied instead: the user keeps that file elsewhere, and expects the
  // link to stay.
  if (change == MenuFileChange::kDelete && !IsLink(path)) return DeleteIfUnchanged(path, file);
  status = replacement->Commit(newText, file.stamp);
  if (status != noErr || kind == MenuFileKind::kDocument) return status;
  return MakeExecutable(replacement->target());
}

}  // namespace

std::string UserConfigurationPath(const std::string& name) {
  return UserFolder("XDG_CONFIG_HOME", ".config") + "/" + name;
}

std::string UserDataPath(const std::string& name) {
  return UserFolder("XDG_DATA_HOME", ".local/share") + "/" + name;
}

std::optional<std::string> ReadSystemConfiguration(const std::string& name) {
  const char* set = std::getenv("XDG_CONFIG_DIRS");
  std::string_view folders = set == nullptr || *set == '\0' ? "/etc/xdg" : set;
  while (!folders.empty()) {
    const std::string_view folder = folders.substr(0, folders.find(':'));
    folders.remove_prefix(std::min(folder.size() + 1, folders.size()));
    // The XDG base directory specification ignores relative paths.
    if (!folder.starts_with('/')) continue;
    MenuFile file;
    if (ReadIfExists(std::string(folder) + "/" + name, &file) == noErr && file.text) {
      return file.text;
    }
  }
  return std::nullopt;
}

Status ReadMenuFile(const std::string& path, std::string* text) {
  if (text == nullptr) return paramErr;
  MenuFile file;
  const Status status = ReadIfExists(path, &file);
  if (status != noErr) return status;
  if (!file.text) return fnfErr;
  *text = std::move(*file.text);
  return noErr;
}

Status EditMenuFile(const std::string& path, MenuFileKind kind, const MenuFileEditor& editor) {
  if (!editor) return paramErr;
  MenuFile file;
  Status status = ReadIfExists(path, &file);
  if (status != noErr) return status;
  // The editor runs once without a lock, so that an edit that changes nothing creates neither a
  // folder nor a lock.
  std::string newText;
  if (editor(file.text, &newText) == MenuFileChange::kNone) return noErr;
  status = MakeFolderAndParents(path.substr(0, path.rfind('/')));
  if (status != noErr) return status;
  FileReplacement replacement;
  status = replacement.Begin(path);
  if (status != noErr) return status;
  for (int edits = 0; edits < kMaxEditAttempts; ++edits) {
    status = EditOnce(path, kind, editor, &replacement);
    if (status != fBsyErr) return status;
  }
  return status;
}

}  // namespace tessary
