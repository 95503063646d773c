#include "platform/linux/changes/writers.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <cerrno>
#include <csignal>

namespace tessary {
namespace {

// Network file systems refuse a lease with the same error whoever has the file open; a lease of
// theirs would say nothing of other machines anyway.
bool TellsOfWriters(int file) {
  struct statfs info = {};
  if (fstatfs(file, &info) != 0) return false;
  switch (static_cast<unsigned long>(info.f_type)) {
    case EXT4_SUPER_MAGIC:
    case XFS_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case F2FS_SUPER_MAGIC:
      return true;
    default:
      return false;
  }
}

}  // namespace

Status KeepWritersOut(int file) {
  if (!TellsOfWriters(file)) return paramErr;
  // Whoever is kept waiting has the kernel send a signal, which ends a process unless it is one
  // that is ignored by nature.
  if (fcntl(file, F_SETSIG, SIGURG) != 0) return paramErr;
  if (fcntl(file, F_SETLEASE, F_RDLCK) == 0) return noErr;
  return errno == EAGAIN ? fBsyErr : paramErr;
}

void LetWritersIn(int file) { (void)fcntl(file, F_SETLEASE, F_UNLCK); }

bool DoesNoWriterWait(int file) { return fcntl(file, F_GETLEASE) == F_RDLCK; }

}  // namespace tessary
