#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/status.h"

namespace tessary {

// The state of a folder and everything below it at one time: all names, with their stat results.
class Manifest {
 public:
  // Adds an object. A folder comes before the objects in it.
  void Add(std::string_view name, const struct statx& info);

  // Adds the end of a folder.
  void AddEndOfFolder();

  // Returns true if entry number `index` is an object of that name and is unchanged, except for its
  // change time. The folder itself is entry 0; then come the objects and the ends of folders, in
  // the order in which they were added.
  bool HasObjectAt(size_t index, std::string_view name, const struct statx& info) const;

  // Returns true if both hold the same objects in the same places, and none has changed.
  bool Matches(const Manifest& other) const;

 private:
  struct Entry {
    std::string name;  // empty: the end of a folder
    struct statx info = {};
  };

  std::vector<Entry> entries_;
};

// Reads the manifest of the open folder and everything below it. `*manifest` is written on success
// only. Errors: diffVolErr (a mount inside); otherwise the status of the failed system call.
Status ReadManifest(int folder, Manifest* manifest);

}  // namespace tessary
