#include "platform/linux/changes/late_creation.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/descriptors/deferred_errors.h"

namespace tessary {

uint64_t CreateNow(int file) {
  struct statx info = {};
  if (ReadObjectInfo(file, "", &info) != noErr || !S_ISREG(info.stx_mode)) return 0;
  if (!VolumeOf(Identity::Of(info).device, file).createsFilesWhenClosed) return 0;
  if (info.stx_size > 0) return info.stx_size;
  // close(2) waits for the flush, in which the driver creates what was written to. It does nothing
  // in the flush of an empty file, but creates it in its release, for which nobody waits.
  const bool isCreated = write(file, "", 1) == 1 && FlushDeferredErrors(file) == noErr;
  return isCreated ? 1 : 0;
}

}  // namespace tessary
