#pragma once

#include <cstdint>

#include "platform/managers/status.h"

// Who else may be writing to a file that is to be deleted: a program that opened it before does not
// mind its names, and what it writes later would go with the file.
namespace tessary {

// Makes sure that no program has the file of the device, open for nothing but reading as `file`,
// open for writing, and lets none open it so, by keeping it waiting, until `file` is closed or
// ReleaseReadLease is called. noErr; fBsyErr (one has); paramErr (it cannot be told: the file is
// another user's, or the volume does not know).
Status AcquireReadLease(uint32_t device, int file);
void ReleaseReadLease(int file);

// True while no program waits to write to a file that writers are kept out of.
bool IsReadLeaseUnbroken(int file);

}  // namespace tessary
