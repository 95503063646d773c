#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/status.h"

namespace tessary {

// What a folder and everything below it was at one time: every name, and what would show a change
// of what it names. Two manifests of an unchanged tree are equal.
class Manifest {
 public:
  // Notes an object; a folder's own entry comes before those of what is in it.
  void Add(std::string_view name, const struct statx& info);

  // Notes the end of what is in a folder.
  void AddEndOfFolder();

  // True when both list the same objects in the same places, none of them changed.
  bool Matches(const Manifest& other) const;

 private:
  struct Entry {
    std::string name;  // empty at the end of a folder
    struct statx info = {};
  };

  std::vector<Entry> entries_;
};

// Makes the manifest of what is below the folder open as `folder`, and of the folder itself.
// noErr, diffVolErr (another volume is mounted inside), else what the file system reports;
// `*manifest` is written on success only.
Status ReadManifest(int folder, Manifest* manifest);

}  // namespace tessary
