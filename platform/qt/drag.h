#pragma once

#include <QMimeData>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/managers/drags.h"

namespace tessary {

// What is dragged, read once from the data that comes with it: an item for each line of its list of
// URIs, and none for a drag without such a list. An item whose URI is that of a file or folder
// here, links to it being followed, has the flavor 'hfs '; a remote address, a bad escape and what
// is not there have none.
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
