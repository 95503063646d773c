#include "platform/linux/descriptor_limit.h"

#include <sys/resource.h>

#include <algorithm>

namespace tessary {

void RaiseDescriptorLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  // A system that allows fewer in all refuses "without limit". Everything works with fewer, too.
  (void)setrlimit(RLIMIT_NOFILE, &limit);
}

size_t DescriptorsToHold(size_t usual, size_t shares) {
  constexpr size_t kLeast = 2;
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return kLeast;
  return std::max(kLeast, static_cast<size_t>(std::min<rlim_t>(usual, limit.rlim_cur / shares)));
}

}  // namespace tessary
