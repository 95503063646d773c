#include "programs/cli/destination.h"

#include "platform/file_system.h"
#include "platform/managers/text.h"
#include "programs/cli/messages.h"

namespace tessary {
namespace {

Status OpenNamedObject(const std::string& named, FSRef* ref) {
  std::string resolved;
  const Status status = ResolveNamedPath(named, &resolved);
  if (status != noErr) return status;
  return FSPathMakeRef(resolved.c_str(), ref);
}

struct NamedPlace {
  std::string parent;
  std::string name;
};

// "a/b//" is the name b in a, and "b" is the name b here.
NamedPlace SplitNamedPath(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

bool MakeDestination(const std::string& named, FSRef* destination, std::string* problem) {
  const NamedPlace place = SplitNamedPath(named);
  FSRef parent;
  const Status parentStatus = OpenNamedObject(place.parent, &parent);
  if (parentStatus != noErr) {
    *problem = "the destination " + Quoted(named) +
               " cannot be made: its parent folder cannot be " +
               "used: " + DescribeStatus(parentStatus);
    return false;
  }
  // The name goes in as it was typed: a ":" of a catalog name stays one on disk.
  FSRef made;
  const Status status = FSCreateDirectoryUnicode(parent, Utf16FromUtf8(place.name), &made);
  if (status != noErr) {
    *problem = "the destination " + Quoted(named) + " cannot be made: " + DescribeStatus(status);
    return false;
  }
  *destination = made;
  return true;
}

}  // namespace

bool OpenDestination(const std::string& named, const FSRef& source, FSRef* destination,
                     std::string* problem) {
  FSRef found;
  const Status status = OpenNamedObject(named, &found);
  if (status == fnfErr) return MakeDestination(named, destination, problem);
  if (status != noErr) {
    *problem = "the destination " + Quoted(named) + " cannot be used: " + DescribeStatus(status);
    return false;
  }
  uint8_t isFolder = 0;
  const Status kindStatus = GetNodeIdAndKind(found, nullptr, &isFolder);
  if (kindStatus != noErr || isFolder == 0) {
    *problem = "the destination " + Quoted(named) + " cannot be used: " +
               DescribeStatus(kindStatus != noErr ? kindStatus : errFSNotAFolder);
    return false;
  }
  if (FSCompareFSRefs(found, source) == noErr) {
    *problem = "The destination directory can not be the same as the source directory";
    return false;
  }
  *destination = found;
  return true;
}

}  // namespace tessary
