#include "tests/support/fault_injection/system_call_names.h"

#include <sys/syscall.h>

#include <cstring>
#include <map>

namespace tessary::test {
namespace {

#define NAMED(call) \
  { SYS_##call, #call }

const std::map<int, const char*>& CallNames() {
  static const std::map<int, const char*> kNames = {
      NAMED(openat),     NAMED(close),        NAMED(statx),
      NAMED(newfstatat), NAMED(fstatfs),      NAMED(getdents64),
      NAMED(lseek),      NAMED(read),         NAMED(pread64),
      NAMED(write),      NAMED(pwrite64),     NAMED(copy_file_range),
      NAMED(ftruncate),  NAMED(fallocate),    NAMED(fsync),
      NAMED(fdatasync),  NAMED(syncfs),       NAMED(ioctl),
      NAMED(fcntl),      NAMED(flock),        NAMED(mkdirat),
      NAMED(unlinkat),   NAMED(linkat),       NAMED(symlinkat),
      NAMED(readlinkat), NAMED(renameat),     NAMED(renameat2),
      NAMED(faccessat),  NAMED(faccessat2),   NAMED(fchmod),
      NAMED(fchmodat),   NAMED(fchown),       NAMED(fchownat),
      NAMED(utimensat),  NAMED(listxattr),    NAMED(llistxattr),
      NAMED(flistxattr), NAMED(getxattr),     NAMED(lgetxattr),
      NAMED(fgetxattr),  NAMED(setxattr),     NAMED(lsetxattr),
      NAMED(fsetxattr),  NAMED(lremovexattr), NAMED(fremovexattr),
      NAMED(getrandom),  NAMED(prlimit64),    NAMED(capget),
      NAMED(getcwd),
#ifdef SYS_open
      NAMED(open),       NAMED(stat),         NAMED(lstat),
      NAMED(readlink),   NAMED(rename),       NAMED(unlink),
      NAMED(mkdir),      NAMED(chmod)
#endif
  };
  return kNames;
}

#undef NAMED

}  // namespace

std::string NameOfCall(int number) {
  const auto found = CallNames().find(number);
  return found == CallNames().end() ? std::to_string(number) : found->second;
}

std::string NameOfError(int error) { return strerrorname_np(error); }

std::vector<int> FileCalls() {
  std::vector<int> numbers;
  for (const auto& [number, name] : CallNames()) numbers.push_back(number);
  return numbers;
}

}  // namespace tessary::test
