#include "platform/linux/changes/late_creation.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/descriptors/deferred_errors.h"

namespace tessary {

bool CreateLateFileNow(int file) {
  struct statx info = {};
  if (ReadObjectInfo(file, "", &info) != noErr || !S_ISREG(info.stx_mode)) return false;
  if (!VolumeOf(Identity::Of(info).device, file).createsFilesWhenClosed) return false;
  // close(2) waits for the flush, in which the driver creates what was written to. It does nothing
  // in the flush of an empty file, but creates it in its release, for which nobody waits.
  if (info.stx_size == 0 && write(file, "", 1) == 1) (void)FlushDeferredErrors(file);
  return true;
}

}  // namespace tessary
