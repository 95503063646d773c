#include "platform/linux/changes/read_lease.h"

#include <fcntl.h>

#include <cerrno>
#include <csignal>

#include "platform/linux/catalog/volume.h"

namespace tessary {

Status AcquireReadLease(uint32_t device, int file) {
  if (!VolumeOf(device, file).hasReliableLeases) return paramErr;
  // When another process tries to open the file for writing, the kernel signals the holder of the
  // lease. The default signal, SIGIO, would kill this process; SIGURG is ignored by default. The
  // lease is checked with IsReadLeaseUnbroken instead.
  if (fcntl(file, F_SETSIG, SIGURG) != 0) return paramErr;
  // EAGAIN means that the file is open for writing. Other errors, such as EACCES for another user's
  // file, say nothing about writers.
  if (fcntl(file, F_SETLEASE, F_RDLCK) == 0) return noErr;
  return errno == EAGAIN ? fBsyErr : paramErr;
}

void ReleaseReadLease(int file) { (void)fcntl(file, F_SETLEASE, F_UNLCK); }

bool IsReadLeaseUnbroken(int file) { return fcntl(file, F_GETLEASE) == F_RDLCK; }

}  // namespace tessary
