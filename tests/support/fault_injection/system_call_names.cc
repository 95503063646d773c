#include "tests/support/fault_injection/system_call_names.h"

#include <sys/syscall.h>

#include <cstring>
#include <map>

namespace tessary::test {
namespace {

const std::map<int, const char*>& CallNames() {
  static const std::map<int, const char*> kNames = {
      {SYS_openat, "openat"},
      {SYS_close, "close"},
      {SYS_statx, "statx"},
      {SYS_newfstatat, "newfstatat"},
      {SYS_fstatfs, "fstatfs"},
      {SYS_getdents64, "getdents64"},
      {SYS_lseek, "lseek"},
      {SYS_read, "read"},
      {SYS_pread64, "pread64"},
      {SYS_write, "write"},
      {SYS_pwrite64, "pwrite64"},
      {SYS_copy_file_range, "copy_file_range"},
      {SYS_ftruncate, "ftruncate"},
      {SYS_fallocate, "fallocate"},
      {SYS_fsync, "fsync"},
      {SYS_fdatasync, "fdatasync"},
      {SYS_syncfs, "syncfs"},
      {SYS_ioctl, "ioctl"},
      {SYS_fcntl, "fcntl"},
      {SYS_flock, "flock"},
      {SYS_mkdirat, "mkdirat"},
      {SYS_unlinkat, "unlinkat"},
      {SYS_linkat, "linkat"},
      {SYS_symlinkat, "symlinkat"},
      {SYS_readlinkat, "readlinkat"},
      {SYS_renameat, "renameat"},
      {SYS_renameat2, "renameat2"},
      {SYS_faccessat, "faccessat"},
      {SYS_faccessat2, "faccessat2"},
      {SYS_fchmod, "fchmod"},
      {SYS_fchmodat, "fchmodat"},
      {SYS_fchown, "fchown"},
      {SYS_fchownat, "fchownat"},
      {SYS_utimensat, "utimensat"},
      {SYS_listxattr, "listxattr"},
      {SYS_llistxattr, "llistxattr"},
      {SYS_flistxattr, "flistxattr"},
      {SYS_getxattr, "getxattr"},
      {SYS_lgetxattr, "lgetxattr"},
      {SYS_fgetxattr, "fgetxattr"},
      {SYS_setxattr, "setxattr"},
      {SYS_lsetxattr, "lsetxattr"},
      {SYS_fsetxattr, "fsetxattr"},
      {SYS_lremovexattr, "lremovexattr"},
      {SYS_fremovexattr, "fremovexattr"},
      {SYS_getrandom, "getrandom"},
      {SYS_prlimit64, "prlimit64"},
      {SYS_capget, "capget"},
      {SYS_getcwd, "getcwd"},
#ifdef SYS_open
      {SYS_open, "open"},
      {SYS_stat, "stat"},
      {SYS_lstat, "lstat"},
      {SYS_readlink, "readlink"},
      {SYS_rename, "rename"},
      {SYS_unlink, "unlink"},
      {SYS_mkdir, "mkdir"},
      {SYS_chmod, "chmod"},
#endif
  };
  return kNames;
}

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
