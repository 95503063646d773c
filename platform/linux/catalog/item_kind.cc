#include "platform/linux/catalog/item_kind.h"

namespace tessary {

ItemKind ItemKindOf(NodeKind kind) {
  switch (kind) {
    case NodeKind::kFolder:
      return ItemKind::kFolder;
    case NodeKind::kLink:
      return ItemKind::kLink;
    case NodeKind::kSpecial:
      return ItemKind::kSpecial;
    default:
      return ItemKind::kFile;
  }
}

}  // namespace tessary
