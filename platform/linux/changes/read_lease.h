#pragma once

#include <cstdint>

#include "platform/managers/status.h"

// Read leases. A process that has a file open for writing can write to it whatever becomes of the
// file's name, so what it writes after the last check would be deleted with the file. A lease rules
// that out.
namespace tessary {

// Acquires a read lease on `file`, which is on the device and open for reading only. While it is
// held, an open(2) for writing by another process blocks. The lease ends with ReleaseReadLease or
// when `file` is closed.
// Errors: fBsyErr (a process has the file open for writing); paramErr (leases are not available:
// another user's file, or a filesystem without reliable ones).
Status AcquireReadLease(uint32_t device, int file);

// Releases the lease, if there is one, so that blocked writers go on.
void ReleaseReadLease(int file);

// Returns true if `file` has a read lease and no process is waiting to open it for writing.
bool IsReadLeaseUnbroken(int file);

}  // namespace tessary
