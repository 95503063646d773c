#pragma once

#include <linux/filter.h>

#include <cstdint>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {

// A seccomp(2) filter: rules that say what the kernel does with a system call before it makes the
// call. The first rule that applies decides. Calls without a rule are made.
class SeccompFilter {
 public:
  // Applies the action (SECCOMP_RET_...) to calls of this number (SYS_...). With `bits`, only to
  // those with one of the bits in the lower half of this argument (0 to 5).
  void AddRule(long number, uint32_t action, int argument = 0, uint32_t bits = 0);

  // Has write(2) to standard input, output and error made, whatever the rules that follow say.
  void AllowStandardFiles();

  // Installs the filter for this process and all that it starts, for good. Returns false where the
  // kernel does not support it.
  bool Install();

  // Installs the filter for this process. Returns the descriptor that notifies about calls with the
  // action SECCOMP_RET_USER_NOTIF, or none where the kernel does not support it.
  UniqueFd InstallWithListener();

 private:
  void LoadNumber();
  void LoadArgument(int argument);
  long InstallWithFlags(unsigned flags);

  std::vector<sock_filter> program_;
};

}  // namespace tessary::test
