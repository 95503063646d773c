#pragma once

#include <cstdint>

namespace tessary {

// What a probe found out about a filesystem: a missing capability, or that the probe has been made.
enum class ProbeResult {
  kNoRenameNoReplace,    // renameat2 does not support RENAME_NOREPLACE
  kNoReflink,            // files cannot share blocks with files of the other filesystem
  kNoReliableHardLinks,  // a new hard link is not visible as another name of the same file
  kHardLinksProbed,
  kNoLinkMetadata,  // owner and dates of a symbolic link cannot be set without following it
  kLinkMetadataProbed,
  kNoAttributes,  // all calls for attributes fail with EIO
};

// The results of probes, by device number, so that a filesystem is probed once per run. `other` is
// the second device where a capability concerns two filesystems (or the same one twice). The
// functions are safe to call from several threads.
bool HasProbeResult(uint32_t device, ProbeResult what, uint32_t other = 0);

// Stores a result. If memory runs out, the result is lost and the probe is repeated.
void RememberProbeResult(uint32_t device, ProbeResult what, uint32_t other = 0);

// True if any filesystem has this result. Callers ask this first, because it is false in most runs
// and needs no device number, which would cost a system call.
bool HasProbeResultAnywhere(ProbeResult what);

// Discards all results. The kernel reuses the device number of an unmounted filesystem.
void ForgetProbeResults();

}  // namespace tessary
