#pragma once

#include <QMimeData>
#include <cstddef>
#include <optional>
#include <vector>

#include "platform/managers/drags.h"

namespace tessary {

// The items of a drag, read once from its MIME data: one item per line of its URI list, and no
// items if there is no list. An item has the flavor 'hfs ' if its URI leads, through links, to a
// local file or folder that exists at that time. An item with a remote address, an invalid escape
// or a missing target has no flavor. The flavors do not change afterwards.
class QtDrag final : public Drag {
 public:
  // Opens no pool, because a drag can enter the window in the middle of a run, whose pool may not
  // be nested there.
  explicit QtDrag(const QMimeData& data);

  // Removes the items that have disappeared since the drag was read. For a drag that is dropped,
  // while no run takes place: the other items are received.
  void RemoveVanished();

  Status CountDragItems(size_t* count) const override;
  bool HasFlavor(size_t item, OSType flavor) const override;
  Status GetFlavorData(size_t item, HFSFlavor* flavor) const override;

 private:
  std::vector<std::optional<HFSFlavor>> items_;
};

}  // namespace tessary
