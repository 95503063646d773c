#pragma once

#include <cstddef>

namespace tessary {

// Bounds the life of what the managers keep on behalf of references: the names and folders that
// references made while the pool exists depend on are released with it, and those references then
// designate nothing. Pools nest, the latest made first released. With a new one, everything that
// was found out about volumes is found out anew, as a run must not take one for another that was
// mounted before it.
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
