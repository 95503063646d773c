#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tessary::bench {

// The extensions that a workload's files have in turn.
const std::vector<std::string>& Extensions();

// Makes a fresh folder below `parent`; the folder that it replaces is removed first.
std::string MakeFreshFolder(const std::string& parent, const std::string& name);

// Fills a folder with `count` files of `size` bytes, named 0000000.txt and on, and has the file
// system write them out, so that what is measured next does not pay for them.
void FillFolder(const std::string& folder, size_t count, size_t size);

// The number of files in the folders directly inside a folder.
size_t CountFiled(const std::string& folder);

// An empty folder of configuration, so that nobody's own settings are measured.
void UseNoSettings(const std::string& parent);

}  // namespace tessary::bench
