#include "tests/support/volume_traits.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "platform/linux/unique_fd.h"
#include "tests/support/access_list.h"
#include "tests/support/copying.h"
#include "tests/support/temporary_folder.h"

namespace tessary::testing {
namespace {

constexpr uid_t kOther = 4711;

bool HoldsHole(const std::string& path) {
  constexpr off_t kSize = 8 << 20;
  const UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  struct stat info = {};
  return file && ftruncate(file.get(), kSize) == 0 && pwrite(file.get(), "x", 1, kSize - 1) == 1 &&
         fsync(file.get()) == 0 && fstat(file.get(), &info) == 0 &&
         info.st_blocks * 512 < kSize / 2;
}

bool TakesName(const std::string& path) {
  const UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return static_cast<bool>(file) &&
         NamesIn(std::filesystem::path(path).parent_path().string()) ==
             std::vector<std::string>{std::filesystem::path(path).filename().string()};
}

bool HoldsAttribute(const std::string& path, const std::string& name, const std::string& value) {
  return SetAttribute(path, name, value) && AttributeAt(path, name) == value;
}

bool HoldsMode(const std::string& path) {
  struct stat info = {};
  return chmod(path.c_str(), 0641) == 0 && stat(path.c_str(), &info) == 0 &&
         (info.st_mode & 07777U) == 0641;
}

bool HoldsOwner(const std::string& path) {
  struct stat info = {};
  return chown(path.c_str(), kOther, kOther) == 0 && stat(path.c_str(), &info) == 0 &&
         info.st_uid == kOther;
}

}  // namespace

VolumeTraits TryVolume(const std::string& folder) {
  VolumeTraits traits;
  const TemporaryFolder ground(folder);
  const std::string file = ground / "file";
  WriteFile(file, "x");
  traits.hasHardLinks = link(file.c_str(), (ground / "link").c_str()) == 0;
  traits.hasSymbolicLinks = symlink("target", (ground / "symbolic").c_str()) == 0;
  traits.hasSpecialFiles = mkfifo((ground / "fifo").c_str(), 0600) == 0;
  traits.hasModes = HoldsMode(file);
  traits.hasAttributes = HoldsAttribute(file, "user.tessary.test", "value");
  traits.hasAccessLists = HoldsAttribute(file, kAccessListAttribute, AccessListWithUser(kOther));
  traits.hasCapabilities = HoldsAttribute(file, kCapabilityAttribute, SomeCapability());
  traits.hasOwners = HoldsOwner(file);
  traits.hasHoles = HoldsHole(ground / "hole");
  MakeFolder(ground / "bytes");
  traits.hasByteNames = TakesName(ground / "bytes/\xff:*\n");
  MakeFolder(ground / "case");
  WriteFile(ground / "case/a");
  traits.hasCase = !Exists(ground / "case/A");
  return traits;
}

}  // namespace tessary::testing
