#include "platform/linux/changes/rename.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename_fallbacks.h"
#include "platform/linux/descriptors/proc_fd_path.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

bool IsFolder(int folder, const char* name) {
  struct statx info = {};
  return ReadObjectInfo(folder, name, &info) == noErr && S_ISDIR(info.stx_mode);
}

bool HasProbeResult(int folder, ProbeResult what, Identity* identity) {
  struct statx info = {};
  if (ReadObjectInfo(folder, "", &info) != noErr) return false;
  *identity = Identity::Of(info);
  return HasProbeResult(identity->device, what);
}

bool LacksRenameNoReplace(int folder, Identity* identity) {
  return HasProbeResult(folder, ProbeResult::kNoRenameNoReplace, identity);
}

// Whether to rename by linking the object of that name in `fromFolder`. That is tried with the
// first file of a volume, which need not be the first object that is renamed there.
bool HasReliableHardLinks(int fromFolder, const char* fromName) {
  Identity folder;
  if (HasProbeResult(fromFolder, ProbeResult::kNoReliableHardLinks, &folder)) return false;
  if (HasProbeResult(folder.device, ProbeResult::kHardLinksProbed)) return true;
  const std::optional<bool> isSeen = ProbeHardLinks(fromFolder, fromName);
  // A link that might not be seen to be one could leave both names.
  if (!isSeen) return false;
  if (folder.inode == 0) return *isSeen;
  if (!*isSeen) RememberProbeResult(folder.device, ProbeResult::kNoReliableHardLinks);
  RememberProbeResult(folder.device, ProbeResult::kHardLinksProbed);
  return *isSeen;
}

Status RenameByFallback(int fromFolder, const char* fromName, int toFolder, const char* toName) {
  if (!IsFolder(fromFolder, fromName) && HasReliableHardLinks(fromFolder, fromName)) {
    const Status status = RenameByLink(fromFolder, fromName, toFolder, toName);
    if (status != paramErr) return status;
  }
  return RenameOntoPlaceholder(fromFolder, fromName, toFolder, toName);
}

// Gives the open file a name by way of /proc, which any user may do on every kernel.
int LinkThroughProc(int file, int toFolder, const char* toName) {
  return linkat(AT_FDCWD, ProcFdPath(file).c_str(), toFolder, toName, AT_SYMLINK_FOLLOW);
}

}  // namespace

Status RenameWithoutReplacing(int fromFolder, const char* fromName, int toFolder,
                              const char* toName) {
  Identity folder;
  const bool skipsNoReplace = HasProbeResultAnywhere(ProbeResult::kNoRenameNoReplace) &&
                              LacksRenameNoReplace(toFolder, &folder);
  if (!skipsNoReplace) {
    if (renameat2(fromFolder, fromName, toFolder, toName, RENAME_NOREPLACE) == 0) return noErr;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) return LastError();
  }
  if (LiesWithin(toFolder, fromFolder, fromName)) return badMovErr;
  // Where it was the name that the volume refused, the ways without the flag say so, and nothing is
  // learned about the volume.
  const Status status = RenameByFallback(fromFolder, fromName, toFolder, toName);
  if (status == noErr && !skipsNoReplace && !LacksRenameNoReplace(toFolder, &folder) &&
      folder.inode != 0) {
    RememberProbeResult(folder.device, ProbeResult::kNoRenameNoReplace);
  }
  return status;
}

Status LinkOpenFile(int file, int toFolder, const char* toName) {
  if (linkat(file, "", toFolder, toName, AT_EMPTY_PATH) == 0) return noErr;
  // Before Linux 6.10 an empty path needed a privilege, and said ENOENT without it.
  if (errno == ENOENT || errno == EPERM || errno == EACCES) {
    if (LinkThroughProc(file, toFolder, toName) == 0) return noErr;
  }
  switch (errno) {
    case EPERM:
    case EOPNOTSUPP:
    case ENOSYS:
    case EMLINK:
    case EXDEV:
    case ENOENT:
      return paramErr;
    case EINVAL:
      return bdNamErr;
    default:
      return LastError();
  }
}

}  // namespace tessary
