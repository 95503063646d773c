#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/launch_services.h"

namespace tessary {

Status LSCopyDisplayNameForRef(const FSRef& item, std::string* name) {
  if (name == nullptr) return paramErr;
  struct statx info = {};
  Place place;
  const Status status = Catalog::Get().Ask(ReferenceOf(item), 0, &info, &place);
  if (status == noErr) *name = place.name;
  return status;
}

}  // namespace tessary
