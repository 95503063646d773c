#include "tests/support/file_operations.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <memory>

#include "platform/linux/changes/move_across_filesystems.h"
#include "platform/linux/changes/object_info.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using Operation = Status (*)(const CopySource& source, const CopyTarget& target);

Status Run(Operation operation, const fs::path& from, const fs::path& to) {
  const size_t before = CountOpenDescriptors();
  Status status = noErr;
  {
    const UniqueFd fromFolder = OpenFolder(from.parent_path().string());
    const UniqueFd toFolder = OpenFolder(to.parent_path().string());
    const CopySource source = {fromFolder.get(), from.filename().string(),
                               IdentityAt(fromFolder.get(), from.filename().string())};
    status =
        operation(source, {toFolder.get(), to.filename().string(), IdentityAt(toFolder.get(), "")});
  }
  EXPECT_EQ(before, CountOpenDescriptors());
  return status;
}

}  // namespace

Identity IdentityAt(int folder, const std::string& name) {
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(folder, name.c_str(), &info)) << name;
  return Identity::Of(info);
}

UniqueFd OpenFolder(const std::string& path) {
  UniqueFd folder(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  EXPECT_TRUE(folder) << path;
  return folder;
}

void RecoverFolder(const std::string& path) {
  const NSAutoreleasePool run;
  FSRecoverFolder(RefAt(path));
}

Place PlaceAt(const std::string& path) {
  const fs::path whole(path);
  return {std::make_shared<const UniqueFd>(OpenFolder(whole.parent_path().string())),
          whole.filename().string()};
}

Status CopyAt(const std::string& from, const std::string& to) { return Run(CopyItem, from, to); }

Status MoveAcrossAt(const std::string& from, const std::string& to) {
  return Run(MoveItemAcrossFilesystems, from, to);
}

struct stat LstatAt(const std::string& path) {
  struct stat info = {};
  EXPECT_EQ(0, lstat(path.c_str(), &info)) << path;
  return info;
}

bool AreOnDifferentVolumes(const std::string& first, const std::string& second) {
  return LstatAt(first).st_dev != LstatAt(second).st_dev;
}

std::string AttributeAt(const std::string& path, const std::string& name) {
  std::array<char, 4096> value = {};
  const ssize_t size = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
  return size < 0 ? "(none)" : std::string(value.data(), static_cast<size_t>(size));
}

void MakeSparseFile(const std::string& path, const std::string& text, off_t size) {
  WriteFile(path, text);
  EXPECT_EQ(0, truncate(path.c_str(), size)) << path;
}

size_t CountOpenDescriptors() {
  size_t count = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    count += entry.path().empty() ? 0U : 1U;
  }
  return count;
}

}  // namespace tessary::test
