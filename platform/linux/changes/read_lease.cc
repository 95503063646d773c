#include "platform/linux/changes/read_lease.h"

#include <fcntl.h>

#include <cerrno>
#include <csignal>

#include "platform/linux/catalog/volume.h"

namespace tessary {

Status AcquireReadLease(uint32_t device, int file) {
  if (!VolumeOf(device, file).hasReliableLeases) return paramErr;
  // Whoever is kept waiting has the kernel send a signal, which ends a process unless it is one
  // that is ignored by nature.
  if (fcntl(file, F_SETSIG, SIGURG) != 0) return paramErr;
  if (fcntl(file, F_SETLEASE, F_RDLCK) == 0) return noErr;
  return errno == EAGAIN ? fBsyErr : paramErr;
}

void ReleaseReadLease(int file) { (void)fcntl(file, F_SETLEASE, F_UNLCK); }

bool IsReadLeaseUnbroken(int file) { return fcntl(file, F_GETLEASE) == F_RDLCK; }

}  // namespace tessary
