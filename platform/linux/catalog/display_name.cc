#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/launch_services.h"

namespace tessary {

Status LSCopyDisplayNameForRef(const FSRef& item, std::string* name) {
  if (name == nullptr) return paramErr;
  const Look* look = nullptr;
  const Status status = Catalog::Get().Ask(ReferenceOf(item), &look);
  if (status == noErr) *name = look->place.name;
  return status;
}

}  // namespace tessary
