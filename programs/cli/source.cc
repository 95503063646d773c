#include "programs/cli/source.h"

#include "engine/application_source.h"
#include "platform/file_system.h"
#include "platform/managers/file_manager.h"
#include "programs/cli/messages.h"

namespace tessary {
namespace {

// The engine takes a folder that it cannot read for an empty one; here that ends in a refusal.
Status CheckFolder(const FSRef& folder) {
  FSIterator iterator;
  return FSOpenIterator(folder, &iterator);
}

Status OpenNamedFolder(const std::string& named, FSRef* folder, std::string* path) {
  Status status = ResolveNamedPath(named, path);
  if (status == noErr) status = FSPathMakeRef(path->c_str(), folder);
  if (status != noErr) return status;
  uint8_t isFolder = 0;
  status = GetNodeIdAndKind(*folder, nullptr, &isFolder);
  if (status == noErr && isFolder == 0) status = errFSNotAFolder;
  return status == noErr ? CheckFolder(*folder) : status;
}

}  // namespace

bool FindSource(const std::string& named, std::string* path, std::string* problem) {
  FSRef folder;
  std::string resolved;
  const Status status = OpenNamedFolder(named, &folder, &resolved);
  if (status != noErr) {
    *problem = "the source " + Quoted(named) + " cannot be used: " + DescribeStatus(status);
    return false;
  }
  FSRef runSource;
  if (!FindRunSource(folder, &runSource)) {
    *problem = "the source " + Quoted(named) +
               " is an application whose resources folder is missing or cannot be read: give "
               "--whole-application to file the whole of it";
    return false;
  }
  // An application's resources folder is another one than the folder that was named.
  const Status runStatus = CheckFolder(runSource);
  if (runStatus != noErr) {
    *problem = "the resources of the source " + Quoted(named) +
               " cannot be used: " + DescribeStatus(runStatus);
    return false;
  }
  *path = resolved;
  return true;
}

}  // namespace tessary
