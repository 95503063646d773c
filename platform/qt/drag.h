#pragma once

#include <QMimeData>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/managers/drags.h"

namespace tessary {

// The items of a drag, read once from its MIME data: one item per line of its URI list, and no
// items if there is no list. An item has the flavor 'hfs ' if its URI leads, through links, to an
// existing local file or folder. An item with a remote address, an invalid escape or a missing
// target has no flavor.
class QtDrag final : public Drag {
 public:
  explicit QtDrag(const QMimeData& data);

  Status CountDragItems(size_t* count) const override;
  bool HasFlavor(size_t item, OSType flavor) const override;
  Status GetFlavorData(size_t item, HFSFlavor* flavor) const override;

 private:
  std::vector<std::optional<std::string>> paths_;
};

}  // namespace tessary
