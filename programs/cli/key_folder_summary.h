#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "programs/cli/item_records.h"

namespace tessary {

// The key folders into which a run has moved or copied items, with their number and size.
class KeyFolderSummary {
 public:
  void Add(const ItemRecord& record);

  // Returns a table with a header line and one line per key folder, largest first. Empty if there
  // are none. The size of a folder with an item whose size is unknown begins with ">".
  std::string Text() const;

 private:
  struct Sum {
    uint64_t items = 0;
    uint64_t bytes = 0;
    bool isIncomplete = false;
  };
  std::unordered_map<std::string, Sum> folders_;
};

}  // namespace tessary
