#include "platform/linux/changes/same_contents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>
#include <vector>

#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/folder_chain.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/tree_walk.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

constexpr int kComparedFolder = O_DIRECTORY | O_NOFOLLOW;
constexpr size_t kComparedBlock = size_t{1} << 17;

Status SameIf(bool isSame) { return isSame ? noErr : fBsyErr; }

// Reads until the block is full or the file ends, and shortens the block to what was read.
Status ReadBlock(int file, std::vector<char>* block) {
  block->resize(kComparedBlock);
  size_t filled = 0;
  while (filled < block->size()) {
    const ssize_t count = read(file, block->data() + filled, block->size() - filled);
    if (count < 0) return LastError();
    if (count == 0) break;
    filled += static_cast<size_t>(count);
  }
  block->resize(filled);
  return noErr;
}

// Opens a regular file, without following or waiting for whatever else has the name now.
Status OpenToCompare(const NamedObject& object, UniqueFd* opened) {
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  *opened = OpenWithoutAtime(object.folder, object.name.c_str(), kFlags);
  // The errors for a link and for a socket.
  if (!*opened) return errno == ELOOP || errno == ENXIO ? fBsyErr : LastError();
  struct statx info = {};
  if (const Status status = ReadObjectInfo(opened->get(), "", &info)) return status;
  return SameIf(S_ISREG(info.stx_mode));
}

Status CompareBytes(const NamedObject& first, const NamedObject& second) {
  UniqueFd one;
  UniqueFd other;
  if (const Status status = OpenToCompare(first, &one)) return status;
  if (const Status status = OpenToCompare(second, &other)) return status;
  std::vector<char> block;
  std::vector<char> otherBlock;
  do {
    if (const Status status = ReadBlock(one.get(), &block)) return status;
    if (const Status status = ReadBlock(other.get(), &otherBlock)) return status;
    if (block != otherBlock) return fBsyErr;
  } while (!block.empty());
  return noErr;
}

Status ReadTarget(const NamedObject& link, std::string* target) {
  std::array<char, PATH_MAX> text;
  const ssize_t size = readlinkat(link.folder, link.name.c_str(), text.data(), text.size());
  if (size < 0) return LastError();
  target->assign(text.data(), static_cast<size_t>(size));
  return noErr;
}

Status CompareTargets(const NamedObject& first, const NamedObject& second) {
  std::string target;
  std::string otherTarget;
  if (const Status status = ReadTarget(first, &target)) return status;
  if (const Status status = ReadTarget(second, &otherTarget)) return status;
  return SameIf(target == otherTarget);
}

// `mode` is that of the first object, which is not a folder.
Status CompareObjects(mode_t mode, const NamedObject& first, const NamedObject& second) {
  struct statx info = {};
  const Status status = ReadObjectInfo(second.folder, second.name.c_str(), &info);
  if (status != noErr) return status;
  if ((mode & S_IFMT) != (info.stx_mode & S_IFMT)) return fBsyErr;
  if (S_ISREG(mode)) return CompareBytes(first, second);
  return S_ISLNK(mode) ? CompareTargets(first, second) : fBsyErr;
}

// Reads the names in an open folder through another descriptor, so that its offset stays.
Status ReadNames(int folder, std::vector<std::string>* names) {
  const UniqueFd opened = OpenWithoutAtime(folder, ".", kComparedFolder);
  return opened ? ReadFolderNames(opened.get(), nullptr, names) : LastError();
}

Status CompareNames(int folder, int other) {
  std::vector<std::string> names;
  std::vector<std::string> otherNames;
  if (const Status status = ReadNames(folder, &names)) return status;
  if (const Status status = ReadNames(other, &otherNames)) return status;
  return SameIf(names == otherNames);
}

// Whether the other tree may contain more than the compared one.
enum class OtherTree { kHasSameNames, kMayHaveMore };

// Walks through one tree and compares each object with the one at the same place in another.
class TreeComparison : public TreeVisitor {
 public:
  // `other` is borrowed.
  TreeComparison(int other, const Volume& volume, OtherTree kind)
      : chain_(other), volume_(volume), kind_(kind) {}

  Status VisitObject(int folder, const char* name, const struct statx& info) override {
    return CompareObjects(info.stx_mode, {folder, name},
                          {chain_.fd(), NameOnVolume(name, volume_)});
  }

  Status EnterFolder(int /*folder*/, const char* name, const struct statx& info,
                     int opened) override {
    const std::string otherName = NameOnVolume(name, volume_);
    UniqueFd other = OpenWithoutAtime(chain_.fd(), otherName.c_str(), kComparedFolder);
    if (!other) return errno == ELOOP || errno == ENOTDIR ? fBsyErr : LastError();
    struct statx otherInfo = {};
    if (const Status status = ReadObjectInfo(other.get(), "", &otherInfo)) return status;
    const Identity identity = Identity::Of(otherInfo);
    if (identity.Equals(Identity::Of(info))) return fBsyErr;
    if (kind_ == OtherTree::kHasSameNames) {
      if (const Status status = CompareNames(opened, other.get())) return status;
    }
    chain_.Push(std::move(other), identity);
    return noErr;
  }

  Status LeaveFolder(int /*folder*/, const char* /*name*/, const struct statx& /*info*/,
                     int /*left*/) override {
    UniqueFd left;
    return chain_.Pop(&left);
  }

 private:
  FolderChain chain_;  // the folders of the other tree
  const Volume& volume_;
  const OtherTree kind_;
};

Status CompareTrees(int tree, int other, OtherTree kind) {
  struct statx info = {};
  struct statx otherInfo = {};
  if (const Status status = ReadObjectInfo(tree, "", &info)) return status;
  if (const Status status = ReadObjectInfo(other, "", &otherInfo)) return status;
  const Identity identity = Identity::Of(otherInfo);
  if (identity.Equals(Identity::Of(info))) return fBsyErr;
  if (kind == OtherTree::kHasSameNames) {
    if (const Status status = CompareNames(tree, other)) return status;
  }
  TreeComparison comparison(other, VolumeOf(identity.device, other), kind);
  return WalkTree(tree, comparison);
}

}  // namespace

Status CompareContents(const NamedObject& first, const NamedObject& second) {
  struct statx info = {};
  const Status status = ReadObjectInfo(first.folder, first.name.c_str(), &info);
  if (status != noErr) return status;
  if (!S_ISDIR(info.stx_mode)) return CompareObjects(info.stx_mode, first, second);
  const UniqueFd tree = OpenWithoutAtime(first.folder, first.name.c_str(), kComparedFolder);
  if (!tree) return LastError();
  const UniqueFd other = OpenWithoutAtime(second.folder, second.name.c_str(), kComparedFolder);
  if (!other) return errno == ELOOP || errno == ENOTDIR ? fBsyErr : LastError();
  return CompareTrees(tree.get(), other.get(), OtherTree::kHasSameNames);
}

Status CompareWithCopy(int tree, int copy) {
  return CompareTrees(tree, copy, OtherTree::kMayHaveMore);
}

}  // namespace tessary
