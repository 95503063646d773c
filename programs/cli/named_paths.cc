#include "programs/cli/named_paths.h"

#include "platform/file_system.h"
#include "platform/managers/text.h"
#include "programs/cli/messages.h"

namespace tessary {
namespace {

// Links are followed here and nowhere else.
Status OpenNamedObject(const std::string& named, FSRef* ref) {
  std::string path;
  const Status status = ResolveNamedPath(named, &path);
  return status == noErr ? FSPathMakeRef(path.c_str(), ref) : status;
}

Status OpenNamedFolder(const std::string& named, FSRef* ref) {
  FSRef found;
  Status status = OpenNamedObject(named, &found);
  uint8_t isFolder = 0;
  if (status == noErr) status = GetNodeIdAndKind(found, nullptr, &isFolder);
  if (status != noErr) return status;
  if (isFolder == 0) return errFSNotAFolder;
  *ref = found;
  return noErr;
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

bool CreateDestination(const std::string& named, FSRef* destination, std::string* problem) {
  const ParentAndName place = SplitNamedPath(named);
  FSRef parent;
  Status status = OpenNamedObject(place.parent, &parent);
  if (status != noErr) {
    *problem = "the destination " + Quoted(named) +
               " cannot be made: its parent folder cannot be used: " + DescribeStatus(status);
    return false;
  }
  // The name is passed as it was typed: a ":" in a catalog name stays ":" on disk.
  FSRef created;
  status = FSCreateDirectoryUnicode(parent, Utf16FromUtf8(place.name), &created);
  if (status != noErr) {
    *problem = "the destination " + Quoted(named) + " cannot be made: " + DescribeStatus(status);
    return false;
  }
  *destination = created;
  return true;
}

}  // namespace

bool OpenSource(const std::string& named, FSRef* source, std::string* problem) {
  const Status status = OpenNamedFolder(named, source);
  if (status == noErr) return true;
  *problem = "the source " + Quoted(named) + " cannot be used: " + DescribeStatus(status);
  return false;
}

bool CheckRunSource(const FSRef& source, const std::string& named, std::string* problem) {
  FSIterator iterator;
  const Status status = FSOpenIterator(source, &iterator);
  if (status == noErr) return true;
  *problem = "the source " + Quoted(named) + " cannot be used: " + DescribeStatus(status);
  return false;
}

bool FindOrCreateDestination(const std::string& named, FSRef* destination, std::string* problem) {
  const Status status = OpenNamedFolder(named, destination);
  if (status == noErr) return true;
  if (status == fnfErr) return CreateDestination(named, destination, problem);
  *problem = "the destination " + Quoted(named) + " cannot be used: " + DescribeStatus(status);
  return false;
}

}  // namespace tessary
