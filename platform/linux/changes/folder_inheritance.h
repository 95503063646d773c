#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tessary {

// What a new file gets from the folder that it is created in, except owner, group and access
// control list, which a copy always gets from its source.
struct FolderInheritance {
  uint32_t flags = 0;          // of chattr(1), such as compression or no copy-on-write
  uint32_t extendedFlags = 0;  // of xfs_io(8), such as the inheritance of the project
  uint32_t project = 0;        // for project quotas
  uint32_t extentSize = 0;
  uint32_t copyOnWriteSize = 0;
  std::string label;  // of SELinux, or empty

  bool operator==(const FolderInheritance&) const = default;
};

// Reads what a file inherits from the folder, which is open for reading and on that device. Returns
// none if that cannot be read.
std::optional<FolderInheritance> ReadInheritance(int folder, uint32_t device);

}  // namespace tessary
