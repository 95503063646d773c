#include "platform/managers/integration.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

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

// Returns the absolute paths of a list that is separated by colons, in their order.
std::vector<std::string> AbsolutePaths(std::string_view list) {
  std::vector<std::string> paths;
  while (!list.empty()) {
    const std::string_view path = list.substr(0, list.find(':'));
    list.remove_prefix(std::min(path.size() + 1, list.size()));
    if (path.starts_with('/')) paths.emplace_back(path);
  }
  return paths;
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
  // The XDG base directory specification ignores relative paths.
  for (std::string path : AbsolutePaths(set == nullptr || *set == '\0' ? "/etc/xdg" : set)) {
    path.append("/").append(name);
    MenuFile file;
    if (ReadIfExists(path, &file) == noErr && file.text) return file.text;
  }
  return std::nullopt;
}

bool IsProgramInstalled(const std::string& name) {
  const char* set = std::getenv("PATH");
  // execvp(3) searches these folders if the variable is not set.
  const std::vector<std::string> folders = AbsolutePaths(set == nullptr ? "/bin:/usr/bin" : set);
  return std::ranges::any_of(folders, [&name](const std::string& folder) {
    const std::string path = folder + "/" + name;
    struct stat info = {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           access(path.c_str(), X_OK) == 0;
  });
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
