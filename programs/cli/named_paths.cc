#include "programs/cli/named_paths.h"

#include <tuple>
#include <utility>

#include "platform/file_system.h"
#include "platform/managers/text.h"
#include "programs/cli/messages.h"

namespace tessary {
namespace {

// The parent and the name: "a/b//" is the name b in a/, and "b" is the name b in the working
// folder.
std::pair<std::string, std::string> SplitNamedPath(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

// ResolveNamedPath returns ioErr for a loop of links and for a device error. In a loop there is a
// link that can be opened as an item although it cannot be resolved.
bool IsLinkLoop(const std::string& named) {
  std::string path;
  const Status status = ResolveItemPath(named, &path);
  FSRef item;
  if (status == noErr) return FSPathMakeRef(path.c_str(), &item) == noErr;
  const size_t slash = named.find_last_not_of('/', named.rfind('/'));
  return status == ioErr && slash != std::string::npos && IsLinkLoop(named.substr(0, slash + 1));
}

std::string DescribePathStatus(const std::string& named, Status status) {
  if (status == ioErr && IsLinkLoop(named)) return "Too many levels of symbolic links";
  return DescribeStatus(status);
}

bool Refuse(const std::string& named, Status status, std::string* problem) {
  *problem = Shown(named) + ": " + DescribePathStatus(named, status);
  return false;
}

Status OpenNamedObject(const std::string& named, FSRef* ref) {
  std::string path;
  const Status status = ResolveNamedPath(named, &path);
  return status == noErr ? FSPathMakeRef(path.c_str(), ref) : status;
}

Status OpenNamedFolder(const std::string& named, FSRef* ref) {
  FSRef found;
  uint8_t isFolder = 0;
  Status status = OpenNamedObject(named, &found);
  if (status == noErr) status = GetNodeIdAndKind(found, nullptr, &isFolder);
  if (status == noErr && isFolder == 0) status = errFSNotAFolder;
  if (status == noErr) *ref = found;
  return status;
}

// Opens the folder in which the named destination is to be created. Writes the name to `*name`.
bool OpenParentOfDestination(const std::string& named, FSRef* parent, std::string* name,
                             std::string* problem) {
  std::string place;
  std::tie(place, *name) = SplitNamedPath(named);
  const Status status = OpenNamedObject(place, parent);
  if (status == noErr) return true;
  *problem =
      named + ": cannot create the folder in " + place + ": " + DescribePathStatus(place, status);
  return false;
}

bool CreateDestination(const std::string& named, FSRef* destination, std::string* problem) {
  FSRef parent;
  std::string name;
  if (!OpenParentOfDestination(named, &parent, &name, problem)) return false;
  // The name is passed as it was typed: a ":" in a catalog name stays ":" on disk.
  FSRef created;
  Status status = FSCreateDirectoryUnicode(parent, Utf16FromUtf8(name), &created);
  std::string reason = DescribeStatus(status);
  // The name exists by now, although it did not lead to an object before: either another program
  // has just created the folder, or it is a link to a missing object.
  if (status == dupFNErr) {
    status = OpenNamedFolder(named, &created);
    reason = status == fnfErr ? "it is a dangling symbolic link" : DescribeStatus(status);
  }
  if (status != noErr) {
    *problem = named + ": cannot create the folder: " + reason;
    return false;
  }
  *destination = created;
  return true;
}

}  // namespace

Status ResolveItemPath(const std::string& named, std::string* path) {
  const size_t slash = named.rfind('/');
  const std::string name = slash == std::string::npos ? named : named.substr(slash + 1);
  if (name.empty() || name == "." || name == "..") return ResolveNamedPath(named, path);
  std::string folder = ".";
  if (slash != std::string::npos) folder = slash == 0 ? "/" : named.substr(0, slash);
  std::string resolved;
  const Status status = ResolveNamedPath(folder, &resolved);
  if (status != noErr) return status;
  *path = resolved == "/" ? "/" + name : resolved + "/" + name;
  return noErr;
}

bool OpenSource(const std::string& named, FSRef* source, std::string* problem) {
  const Status status = OpenNamedFolder(named, source);
  return status == noErr || Refuse(named, status, problem);
}

bool CheckRunSource(const FSRef& source, const std::string& named, std::string* problem) {
  FSIterator iterator;
  const Status status = FSOpenIterator(source, &iterator);
  return status == noErr || Refuse(named, status, problem);
}

bool FindDestinationPath(const std::string& named, std::string* path, std::string* problem) {
  FSRef found;
  const Status status = OpenNamedFolder(named, &found);
  if (status == noErr) {
    *path = FSLastKnownPath(found);
    return true;
  }
  if (status != fnfErr) return Refuse(named, status, problem);
  std::string name;
  if (!OpenParentOfDestination(named, &found, &name, problem)) return false;
  *path = FSPathOfChild(found, Utf16FromUtf8(name));
  return true;
}

bool FindOrCreateDestination(const std::string& named, FSRef* destination, std::string* problem) {
  const Status status = OpenNamedFolder(named, destination);
  if (status == noErr) return true;
  if (status == fnfErr) return CreateDestination(named, destination, problem);
  return Refuse(named, status, problem);
}

}  // namespace tessary
