#pragma once

#include <string>
#include <vector>

#include "tests/support/tree_lines.h"

namespace tessary::test {

// Something that a run files: a file, a link or a package, with its sidecar if it has one. An
// orphaned sidecar is an item itself.
struct FoundItem {
  std::string path;          // relative to the folder that was searched
  std::string contents;      // everything about it but its name, in one text
  std::string sidecar = {};  // everything about its sidecar
};

// All items below the folder, also in folders that are not packages. Leaves out temporary files and
// journal entries.
std::vector<FoundItem> TakeInventory(const std::string& folder, const TreeAspects& aspects);

// The paths of the temporary files and journal entries below the folder.
std::vector<std::string> FindTempFiles(const std::string& folder);

}  // namespace tessary::test
