#pragma once

#include "platform/linux/catalog/reference.h"
#include "platform/managers/item_details.h"

namespace tessary {

// The kind that the layers above know.
ItemKind ItemKindOf(NodeKind kind);

}  // namespace tessary
