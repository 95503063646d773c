#pragma once

#include <string>
#include <vector>

#include "platform/file_system.h"
#include "platform/managers/drags.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// A drag of what the test puts into it, in the order of the calls.
class ScriptedDrag : public Drag {
 public:
  // The file or folder at the path, whether or not it is there when it is dropped.
  ScriptedDrag& AddPath(const std::string& path) {
    Item item = {.isFile = true, .flavor = {}, .answer = noErr};
    EXPECT_EQ(noErr, GetLegacyFileSpec(RefAt(path), &item.flavor.fileSpec)) << path;
    items_.push_back(item);
    return *this;
  }

  // A text or a remote address: no file of this machine.
  ScriptedDrag& AddText() {
    items_.push_back({.isFile = false, .flavor = {}, .answer = badDragFlavorErr});
    return *this;
  }

  // A file whose flavor cannot be read.
  ScriptedDrag& AddUnreadable(Status answer) {
    items_.push_back({.isFile = true, .flavor = {}, .answer = answer});
    return *this;
  }

  // Has counting the items answer the status.
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
    if (found.answer == noErr) *flavor = found.flavor;
    return found.answer;
  }

 private:
  struct Item {
    bool isFile;
    HFSFlavor flavor;
    Status answer;
  };

  std::vector<Item> items_;
  Status countStatus_ = noErr;
};

}  // namespace tessary::test
