#pragma once

#include <cstddef>

namespace tessary {

// Limits the lifetime of the names and folders that the catalog interns for references. They are
// released with the pool; references that depend on them then designate no object. Pools nest and
// must be released in reverse order of creation.
//
// A new pool also discards everything that was learned about filesystems (types, capabilities,
// remembered creation dates), because a device number may belong to another filesystem by then.
class NSAutoreleasePool {
 public:
  NSAutoreleasePool();
  ~NSAutoreleasePool();
  NSAutoreleasePool(const NSAutoreleasePool&) = delete;
  NSAutoreleasePool& operator=(const NSAutoreleasePool&) = delete;

 private:
  size_t folderMark_;
  size_t nameMark_;
};

}  // namespace tessary
