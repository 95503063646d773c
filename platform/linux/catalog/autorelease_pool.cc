#include "platform/managers/autorelease_pool.h"

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/catalog/volume.h"

namespace tessary {

NSAutoreleasePool::NSAutoreleasePool()
    : folderMark_(Catalog::Get().folders().Mark()), nameMark_(Catalog::Get().names().Mark()) {
  // A desktop program lives while disks come and go.
  ForgetVolumes();
  ForgetProbeResults();
  ForgetCreationDates();
}

NSAutoreleasePool::~NSAutoreleasePool() {
  Catalog::Get().statCache().CloseUnusedFolders();
  Catalog::Get().folders().ReleaseTo(folderMark_);
  Catalog::Get().names().ReleaseTo(nameMark_);
}

}  // namespace tessary
