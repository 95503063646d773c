#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/launch_services.h"

namespace tessary {

Status LSCopyDisplayNameForRef(const FSRef& item, std::string* name) {
  if (name == nullptr) return paramErr;
  const CachedStat* cached = nullptr;
  const Status status = Catalog::Get().Stat(ReferenceOf(item), &cached);
  if (status == noErr) *name = cached->place.name;
  return status;
}

}  // namespace tessary
