#include "programs/cli/destination.h"

#include <optional>

#include "platform/file_system.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/text.h"
#include "platform/strings.h"
#include "programs/cli/messages.h"

namespace tessary {
namespace {

Status OpenNamedObject(const std::string& named, FSRef* ref, std::string* path) {
  const Status status = ResolveNamedPath(named, path);
  return status == noErr ? FSPathMakeRef(path->c_str(), ref) : status;
}

struct ParentAndName {
  std::string parent;
  std::string name;
};

// "a/b//" is the name b in a, and "b" is the name b here.
ParentAndName SplitNamedPath(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

bool MakeDestination(const std::string& named, std::string* path, std::string* problem) {
  const ParentAndName place = SplitNamedPath(named);
  FSRef parent;
  std::string parentPath;
  const Status parentStatus = OpenNamedObject(place.parent, &parent, &parentPath);
  if (parentStatus != noErr) {
    *problem = "the destination " + Quoted(named) +
               " cannot be made: its parent folder cannot be " +
               "used: " + DescribeStatus(parentStatus);
    return false;
  }
  // The name goes in as it was typed: a ":" of a catalog name stays one on disk. The volume may
  // have put another character in the place of one that it refuses, so that the path is asked back.
  FSRef made;
  const Status status = FSCreateDirectoryUnicode(parent, Utf16FromUtf8(place.name), &made);
  if (status != noErr) {
    *problem = "the destination " + Quoted(named) + " cannot be made: " + DescribeStatus(status);
    return false;
  }
  const std::optional<std::string> madePath = StringWithFSRef(&made);
  if (!madePath) {
    *problem = "the destination " + Quoted(named) + " cannot be used: " + DescribeStatus(fnfErr);
    return false;
  }
  *path = *madePath;
  return true;
}

}  // namespace

bool FindOrCreateDestination(const std::string& named, std::string* path, std::string* problem) {
  FSRef found;
  std::string resolved;
  Status status = OpenNamedObject(named, &found, &resolved);
  if (status == fnfErr) return MakeDestination(named, path, problem);
  uint8_t isFolder = 0;
  if (status == noErr) status = GetNodeIdAndKind(found, nullptr, &isFolder);
  if (status == noErr && isFolder == 0) status = errFSNotAFolder;
  if (status != noErr) {
    *problem = "the destination " + Quoted(named) + " cannot be used: " + DescribeStatus(status);
    return false;
  }
  *path = resolved;
  return true;
}

}  // namespace tessary
