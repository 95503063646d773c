#include "platform/linux/changes/same_contents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/tree_walk.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {
namespace {

constexpr int kComparedFolder = O_DIRECTORY | O_NOFOLLOW;

// Reads until the buffer is full or the file ends. Returns the number of bytes, or -1.
ssize_t ReadBlock(int file, std::vector<char>* block) {
  size_t filled = 0;
  while (filled < block->size()) {
    const ssize_t count = read(file, block->data() + filled, block->size() - filled);
    if (count < 0) return -1;
    if (count == 0) break;
    filled += static_cast<size_t>(count);
  }
  return static_cast<ssize_t>(filled);
}

bool HaveSameBytes(const NamedObject& first, const NamedObject& second) {
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK;
  const UniqueFd one = OpenWithoutAtime(first.folder, first.name.c_str(), kFlags);
  const UniqueFd other = OpenWithoutAtime(second.folder, second.name.c_str(), kFlags);
  if (!one || !other) return false;
  constexpr size_t kBlockSize = size_t{1} << 17;
  std::vector<char> block(kBlockSize);
  std::vector<char> otherBlock(kBlockSize);
  for (;;) {
    const ssize_t count = ReadBlock(one.get(), &block);
    if (count < 0 || ReadBlock(other.get(), &otherBlock) != count) return false;
    if (!std::equal(block.begin(), block.begin() + count, otherBlock.begin())) return false;
    if (count == 0) return true;
  }
}

bool HaveSameTarget(const NamedObject& first, const NamedObject& second) {
  std::array<char, PATH_MAX> target;
  std::array<char, PATH_MAX> otherTarget;
  const ssize_t size = readlinkat(first.folder, first.name.c_str(), target.data(), target.size());
  const ssize_t otherSize =
      readlinkat(second.folder, second.name.c_str(), otherTarget.data(), otherTarget.size());
  return size >= 0 && size == otherSize &&
         std::equal(target.begin(), target.begin() + size, otherTarget.begin());
}

// Both are of the same type and not folders.
bool HaveSameData(mode_t mode, const NamedObject& first, const NamedObject& second) {
  if (S_ISREG(mode)) return HaveSameBytes(first, second);
  return S_ISLNK(mode) && HaveSameTarget(first, second);
}

// Reads the names in an open folder through another descriptor, so that its offset stays.
bool ReadNames(int folder, std::vector<std::string>* names) {
  const UniqueFd opened = OpenWithoutAtime(folder, ".", kComparedFolder);
  return opened && ReadFolderNames(opened.get(), nullptr, names) == noErr;
}

bool HaveSameNames(int folder, int other) {
  std::vector<std::string> names;
  std::vector<std::string> otherNames;
  return ReadNames(folder, &names) && ReadNames(other, &otherNames) && names == otherNames;
}

// Walks through one tree and compares each object with the one at the same place in another tree.
class TreeComparison : public TreeVisitor {
 public:
  explicit TreeComparison(UniqueFd otherTop) { others_.push_back(std::move(otherTop)); }

  Status VisitObject(int folder, const char* name, const struct statx& info) override {
    const NamedObject other = {others_.back().get(), name};
    struct statx otherInfo = {};
    const bool isSame = ReadObjectInfo(other.folder, name, &otherInfo) == noErr &&
                        (info.stx_mode & S_IFMT) == (otherInfo.stx_mode & S_IFMT) &&
                        HaveSameData(info.stx_mode, {folder, name}, other);
    return isSame ? noErr : fBsyErr;
  }

  Status EnterFolder(int /*folder*/, const char* name, const struct statx& /*info*/,
                     int opened) override {
    UniqueFd other = OpenWithoutAtime(others_.back().get(), name, kComparedFolder);
    if (!other || !HaveSameNames(opened, other.get())) return fBsyErr;
    others_.push_back(std::move(other));
    return noErr;
  }

  Status LeaveFolder(int /*folder*/, const char* /*name*/, const struct statx& /*info*/,
                     int /*left*/) override {
    others_.pop_back();
    return noErr;
  }

 private:
  std::vector<UniqueFd> others_;  // the folders of the other tree down to the current one
};

bool HaveSameTree(const NamedObject& first, const NamedObject& second) {
  const UniqueFd top = OpenWithoutAtime(first.folder, first.name.c_str(), kComparedFolder);
  UniqueFd otherTop = OpenWithoutAtime(second.folder, second.name.c_str(), kComparedFolder);
  if (!top || !otherTop || !HaveSameNames(top.get(), otherTop.get())) return false;
  TreeComparison comparison(std::move(otherTop));
  return WalkTree(top.get(), comparison) == noErr;
}

}  // namespace

bool HasSameContents(const NamedObject& first, const NamedObject& second) {
  struct statx info = {};
  struct statx otherInfo = {};
  const bool isSameType = ReadObjectInfo(first.folder, first.name.c_str(), &info) == noErr &&
                          ReadObjectInfo(second.folder, second.name.c_str(), &otherInfo) == noErr &&
                          (info.stx_mode & S_IFMT) == (otherInfo.stx_mode & S_IFMT);
  if (!isSameType) return false;
  return S_ISDIR(info.stx_mode) ? HaveSameTree(first, second)
                                : HaveSameData(info.stx_mode, first, second);
}

}  // namespace tessary
