#include "platform/managers/autorelease_pool.h"

#include "platform/linux/catalog/catalog.h"

namespace tessary {

NSAutoreleasePool::NSAutoreleasePool()
    : folderMark_(Catalog::Get().folders().Mark()), nameMark_(Catalog::Get().names().Mark()) {}

NSAutoreleasePool::~NSAutoreleasePool() {
  Catalog::Get().folders().ReleaseTo(folderMark_);
  Catalog::Get().names().ReleaseTo(nameMark_);
}

}  // namespace tessary
