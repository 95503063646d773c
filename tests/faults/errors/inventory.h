#pragma once

#include <map>
#include <string>
#include <vector>

namespace tessary::test {

// How two inventories are to be compared.
struct InventoryRules {
  bool ignoresComments = false;  // an item's own comment does not count
  bool isContentsOnly = false;   // nor do modes, owners, dates, attributes and links within
};

// Something that a run files: a file, a link, or a folder with an extension that makes it a
// package; each with its sidecar, if it has one. A sidecar without its item is an item of its own.
struct FoundItem {
  std::string path;      // below the folder that was searched
  std::string contents;  // everything about it but its name: bytes, modes, dates, attributes, and
                         // for a package the same of all that is in it
  std::string sidecar = {};  // the same of its sidecar
};

// Everything below the folder that a run could have put there, packages as one item and plain
// folders searched. Objects with the hidden names that are the file manager's own are left out.
std::vector<FoundItem> TakeInventory(const std::string& folder, const InventoryRules& rules);

// The paths of the hidden objects below the folder.
std::vector<std::string> FindTempFiles(const std::string& folder);

}  // namespace tessary::test
