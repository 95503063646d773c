#include "tests/support/fault_injection/seccomp_filter.h"

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>

namespace tessary::test {
namespace {

sock_filter Load(size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset));
}

}  // namespace

void SeccompFilter::AddRule(long number, uint32_t action, int argument, uint32_t bits) {
  const uint8_t skipped = bits == 0 ? 1 : 3;
  LoadNumber();
  program_.push_back(
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(number), 0, skipped));
  if (bits != 0) {
    LoadArgument(argument);
    program_.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, bits, 0, 1));
  }
  program_.push_back(BPF_STMT(BPF_RET | BPF_K, action));
}

void SeccompFilter::AllowStandardFiles() {
  LoadNumber();
  program_.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_write, 0, 3));
  LoadArgument(0);
  program_.push_back(BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, STDERR_FILENO, 1, 0));
  program_.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
}

bool SeccompFilter::Install() { return InstallWithFlags(0) == 0; }

UniqueFd SeccompFilter::InstallWithListener() {
  return UniqueFd(static_cast<int>(InstallWithFlags(SECCOMP_FILTER_FLAG_NEW_LISTENER)));
}

void SeccompFilter::LoadNumber() { program_.push_back(Load(offsetof(seccomp_data, nr))); }

// The filter sees 32 bits at a time. On a little-endian machine the lower half comes first.
void SeccompFilter::LoadArgument(int argument) {
  program_.push_back(
      Load(offsetof(seccomp_data, args) + static_cast<size_t>(argument) * sizeof(uint64_t)));
}

long SeccompFilter::InstallWithFlags(unsigned flags) {
  program_.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog filter = {static_cast<unsigned short>(program_.size()), program_.data()};
  // Without this, only a process with CAP_SYS_ADMIN may install a filter.
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return -1;
  return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &filter);
}

}  // namespace tessary::test
