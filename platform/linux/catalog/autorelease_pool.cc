#include "platform/managers/autorelease_pool.h"

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/catalog/volume_memory.h"

namespace tessary {

NSAutoreleasePool::NSAutoreleasePool()
    : folderMark_(Catalog::Get().folders().Mark()), nameMark_(Catalog::Get().names().Mark()) {
  // A desktop program lives while disks come and go.
  ForgetVolumes();
  ForgetLacks();
  ForgetCreationDates();
}

NSAutoreleasePool::~NSAutoreleasePool() {
  Catalog::Get().step().ClearRoom();
  Catalog::Get().folders().ReleaseTo(folderMark_);
  Catalog::Get().names().ReleaseTo(nameMark_);
}

}  // namespace tessary
