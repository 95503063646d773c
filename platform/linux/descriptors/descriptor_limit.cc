#include "platform/linux/descriptors/descriptor_limit.h"

#include <sys/resource.h>

#include <algorithm>

namespace tessary {

void RaiseDescriptorLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  // Fails where the hard limit is above the system-wide maximum (fs.nr_open). Everything works with
  // fewer descriptors, too.
  (void)setrlimit(RLIMIT_NOFILE, &limit);
}

size_t DescriptorBudget(size_t usual, size_t shares) {
  constexpr size_t kMinBudget = 2;
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return kMinBudget;
  return std::max(kMinBudget,
                  static_cast<size_t>(std::min<rlim_t>(usual, limit.rlim_cur / shares)));
}

}  // namespace tessary
