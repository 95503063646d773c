#pragma once

#include <string>
#include <vector>

#include "platform/file_system.h"
#include "platform/managers/drags.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// A drag with the items that the test adds, in the order of the calls.
class ScriptedDrag : public Drag {
 public:
  // Adds the file or folder at the path, which need not exist any more when it is dropped.
  ScriptedDrag& AddPath(const std::string& path) {
    Item item = {.isFile = true, .flavor = {}, .status = noErr};
    EXPECT_EQ(noErr, GetLegacyFileSpec(RefAt(path), &item.flavor.fileSpec)) << path;
    items_.push_back(item);
    return *this;
  }

  // Adds an item that is not a file, such as text.
  ScriptedDrag& AddText() {
    items_.push_back({.isFile = false, .flavor = {}, .status = badDragFlavorErr});
    return *this;
  }

  // Adds a file whose flavor cannot be read, with this status.
  ScriptedDrag& AddUnreadable(Status status) {
    items_.push_back({.isFile = true, .flavor = {}, .status = status});
    return *this;
  }

  // Makes CountDragItems fail with the status.
  ScriptedDrag& FailCount(Status status) {
    countStatus_ = status;
    return *this;
  }

  Status CountDragItems(size_t* count) const override {
    if (countStatus_ == noErr) *count = items_.size();
    return countStatus_;
  }

  bool HasFlavor(size_t item, OSType flavor) const override {
    return flavor == kDragFlavorTypeHFS && items_.at(item - 1).isFile;
  }

  Status GetFlavorData(size_t item, HFSFlavor* flavor) const override {
    const Item& found = items_.at(item - 1);
    if (found.status == noErr) *flavor = found.flavor;
    return found.status;
  }

 private:
  struct Item {
    bool isFile;
    HFSFlavor flavor;
    Status status;
  };

  std::vector<Item> items_;
  Status countStatus_ = noErr;
};

}  // namespace tessary::test
