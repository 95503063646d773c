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

// Returns the probe result of the folder's filesystem and sets `*identity` to that of the folder.
// If the folder cannot be stat'ed, returns false and leaves `*identity` alone.
bool HasProbeResult(int folder, ProbeResult what, Identity* identity) {
  struct statx info = {};
  if (ReadObjectInfo(folder, "", &info) != noErr) return false;
  *identity = Identity::Of(info);
  return HasProbeResult(identity->device, what);
}

bool LacksRenameNoReplace(int folder, Identity* identity) {
  return HasProbeResult(folder, ProbeResult::kNoRenameNoReplace, identity);
}

// Returns whether (`fromFolder`, `fromName`) can be renamed by a hard link. Probed once per
// filesystem, with the first object for which a link can be created.
bool HasReliableHardLinks(int fromFolder, const char* fromName) {
  Identity folder;
  if (HasProbeResult(fromFolder, ProbeResult::kNoReliableHardLinks, &folder)) return false;
  if (HasProbeResult(folder.device, ProbeResult::kHardLinksProbed)) return true;
  const std::optional<bool> isReliable = ProbeHardLinks(fromFolder, fromName);
  // Without a result, RenameByLink could end with both names. The next object is probed again.
  if (!isReliable) return false;
  if (folder.inode == 0) return *isReliable;  // the device is unknown
  if (!*isReliable) RememberProbeResult(folder.device, ProbeResult::kNoReliableHardLinks);
  RememberProbeResult(folder.device, ProbeResult::kHardLinksProbed);
  return *isReliable;
}

// Prefers a hard link: linkat cannot replace anything, unlike the rename onto a placeholder.
Status RenameByFallback(int fromFolder, const char* fromName, int toFolder, const char* toName) {
  if (!IsFolder(fromFolder, fromName) && HasReliableHardLinks(fromFolder, fromName)) {
    const Status status = RenameByLink(fromFolder, fromName, toFolder, toName);
    if (status != paramErr) return status;
  }
  return RenameOntoPlaceholder(fromFolder, fromName, toFolder, toName);
}

// Links the open file through /proc, which needs no privilege on any kernel.
int LinkThroughProc(int file, int toFolder, const char* toName) {
  return linkat(AT_FDCWD, ProcFdPath(file).c_str(), toFolder, toName, AT_SYMLINK_FOLLOW);
}

}  // namespace

Status RenameWithoutReplacing(int fromFolder, const char* fromName, int toFolder,
                              const char* toName) {
  Identity folder;
  // As long as no filesystem lacks RENAME_NOREPLACE, which is the usual case, this costs no stat.
  const bool skipsNoReplace = HasProbeResultAnywhere(ProbeResult::kNoRenameNoReplace) &&
                              LacksRenameNoReplace(toFolder, &folder);
  if (!skipsNoReplace) {
    if (renameat2(fromFolder, fromName, toFolder, toName, RENAME_NOREPLACE) == 0) return noErr;
    // EINVAL has three meanings: a folder into itself, a name that the filesystem refuses, or no
    // RENAME_NOREPLACE. The fallbacks distinguish them.
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) return LastError();
  }
  if (LiesWithin(toFolder, fromFolder, fromName)) return badMovErr;
  const Status status = RenameByFallback(fromFolder, fromName, toFolder, toName);
  // Only a fallback that succeeds proves that RENAME_NOREPLACE was what was refused. If it was the
  // name, the fallback fails as well, and nothing is remembered about the filesystem.
  if (status == noErr && !skipsNoReplace && !LacksRenameNoReplace(toFolder, &folder) &&
      folder.inode != 0) {
    RememberProbeResult(folder.device, ProbeResult::kNoRenameNoReplace);
  }
  return status;
}

Status LinkOpenFile(int file, int toFolder, const char* toName) {
  if (linkat(file, "", toFolder, toName, AT_EMPTY_PATH) == 0) return noErr;
  // Before Linux 6.10, AT_EMPTY_PATH needs CAP_DAC_READ_SEARCH, and fails with ENOENT without it.
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
