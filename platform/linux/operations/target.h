#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/linux/catalog/place.h"
#include "platform/linux/catalog/reference.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"

namespace tessary {

// The folder that an object goes into and the name that it gets there.
struct Target {
  uint32_t folder = 0;
  Identity identity;  // the folder's
  Place place;
};

Status FindTarget(const FSRef& folder, const std::u16string* newName, const std::string& ownName,
                  Target* target);

// What moving and copying have in common: finding the source, still the object that it was, and the
// place that it goes to.
Status FindSourceAndTarget(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                           struct statx* info, Place* sourcePlace, Target* target);

CopySource CopySourceOf(const FSRef& ref, const Place& place);

CopyTarget CopyTargetOf(const Target& target);

// What moving and copying a pair have in common: a look at what is under way at the target, and
// that there are sidecars there from here on.
Status TransferWithSidecar(const ItemWithSidecar& pair, const Target& target,
                           Status (*transfer)(const ItemWithSidecar&, const TargetWithPath&));

Status MakeTargetRef(const Target& target, FSRef* ref);

// The same of an object that was just given the name, and of which `info` told before. Where
// objects keep their numbers, it is not looked up again, so that it is no reference to what another
// program put in its place before a rename or after a copy. That is refused wherever the
// reference is used.
Status MakeNamedRef(const struct statx& info, const Target& target, FSRef* ref);

}  // namespace tessary
