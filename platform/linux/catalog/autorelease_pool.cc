#include "platform/managers/autorelease_pool.h"

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/remembered_dates.h"
#include "platform/linux/catalog/volume.h"

namespace tessary {

NSAutoreleasePool::NSAutoreleasePool()
    : folderMark_(Catalog::Get().folders().Mark()), nameMark_(Catalog::Get().names().Mark()) {
  // The desktop program runs while disks are mounted and unmounted, and the kernel reuses the
  // device number of an unmounted filesystem. Nothing learned by device number may outlive a run.
  ForgetVolumes();
  ForgetProbeResults();
  ForgetDates();
}

NSAutoreleasePool::~NSAutoreleasePool() {
  // Unused cache entries still hold folder descriptors, which would keep a filesystem busy.
  Catalog::Get().stats().CloseUnusedFolders();
  Catalog::Get().folders().ReleaseTo(folderMark_);
  Catalog::Get().names().ReleaseTo(nameMark_);
}

}  // namespace tessary
