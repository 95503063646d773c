#include "platform/linux/catalog/folder_table.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <functional>

#include "platform/linux/descriptor_limit.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

constexpr int kOpenFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// A walk holds few folders at a time; the rest of the process keeps its descriptors.
size_t MostOpenFolders() {
  constexpr size_t kUsual = 64;
  constexpr size_t kShares = 4;
  return DescriptorsToHold(kUsual, kShares);
}

}  // namespace

void NameTable::SetName(Reference* reference, std::string_view name) {
  reference->nameLength = static_cast<uint16_t>(name.size());
  std::memset(reference->name, 0, sizeof(reference->name));
  if (name.size() <= kInlineNameSize) {
    std::memcpy(reference->name, name.data(), name.size());
    return;
  }
  const uint64_t place = bytes_.size();
  bytes_.insert(bytes_.end(), name.begin(), name.end());
  std::memcpy(reference->name, &place, sizeof(place));
}

std::string_view NameTable::NameOf(const Reference& reference) const {
  if (reference.nameLength <= kInlineNameSize) return {reference.name, reference.nameLength};
  uint64_t place = 0;
  std::memcpy(&place, reference.name, sizeof(place));
  if (place > bytes_.size() || reference.nameLength > bytes_.size() - place) return {};
  return {bytes_.data() + place, reference.nameLength};
}

void NameTable::ReleaseTo(size_t mark) {
  bytes_.resize(mark);
  bytes_.shrink_to_fit();
}

size_t FolderTable::KeyHash::operator()(const Key& key) const {
  const uint64_t place = static_cast<uint64_t>(key.device) << 32 | key.parent;
  return std::hash<uint64_t>()(key.inode * 0x9E3779B97F4A7C15 ^ place);
}

FolderTable::Key FolderTable::KeyOf(const Reference& reference) {
  return {reference.inode, reference.device, reference.parent};
}

uint32_t FolderTable::FindByReference(const Reference& reference) const {
  const auto [first, last] = byKey_.equal_range(KeyOf(reference));
  for (auto it = first; it != last; ++it) {
    const Reference& self = folders_[it->second - 1]->self;
    if (!self.GetIdentity().Matches(reference.GetIdentity())) continue;
    if (names_->NameOf(self) == names_->NameOf(reference)) return it->second;
  }
  return 0;
}

uint32_t FolderTable::Intern(const Reference& reference) {
  if (const uint32_t known = FindByReference(reference); known != 0) return known;
  auto folder = std::make_unique<Folder>();
  folder->self = reference;
  if (reference.parent == 0) {
    folder->path = "/";
  } else {
    const Folder* parent = Find(reference.parent);
    const std::string_view name = names_->NameOf(reference);
    if (parent == nullptr || name.empty()) return 0;
    folder->path = parent->path == "/" ? "/" : parent->path + "/";
    folder->path += name;
  }
  folders_.push_back(std::move(folder));
  const auto number = static_cast<uint32_t>(folders_.size());
  byPath_[folders_.back()->path] = number;
  byKey_.emplace(KeyOf(reference), number);
  return number;
}

uint32_t FolderTable::FindByPath(const std::string& path) const {
  const auto found = byPath_.find(path);
  return found == byPath_.end() ? 0 : found->second;
}

const Folder* FolderTable::Find(uint32_t number) const {
  if (number == 0 || number > folders_.size()) return nullptr;
  return folders_[number - 1].get();
}

Status FolderTable::Open(uint32_t number, FolderHandle* handle) {
  if (Find(number) == nullptr) return fnfErr;
  Folder& folder = *folders_[number - 1];
  if (folder.descriptor) {
    openFolders_.splice(openFolders_.begin(), openFolders_, folder.use);
    *handle = folder.descriptor;
    return noErr;
  }
  CloseLeastUsed(MostOpenFolders() - 1);
  FolderHandle opened;
  Status status = OpenAnew(folder, &opened);
  if (status == tmfoErr && !openFolders_.empty()) {
    CloseLeastUsed(0);
    status = OpenAnew(folder, &opened);
  }
  if (status != noErr) return status;
  folder.descriptor = opened;
  openFolders_.push_front(number);
  folder.use = openFolders_.begin();
  *handle = std::move(opened);
  return noErr;
}

// By its path where that is short enough for the kernel, else from the folder above it; found to be
// the folder that was interned either way, so that nothing that stands at the path since is
// followed.
Status FolderTable::OpenAnew(const Folder& folder, FolderHandle* handle) {
  UniqueFd opened(open(folder.path.c_str(), kOpenFlags));
  if (!opened && errno == ENAMETOOLONG) {
    FolderHandle parent;
    const Status status = Open(folder.self.parent, &parent);
    if (status != noErr) return status;
    const std::string name(names_->NameOf(folder.self));
    opened.Reset(openat(parent->get(), name.c_str(), kOpenFlags));
  }
  if (!opened) return errno == ENOTDIR || errno == ELOOP ? errFSNotAFolder : LastError();
  struct statx info = {};
  if (statx(opened.get(), "", AT_EMPTY_PATH, kIdentityMask, &info) != 0) return LastError();
  if (!Identity::Of(info).Matches(folder.self.GetIdentity())) return fnfErr;
  *handle = std::make_shared<const UniqueFd>(std::move(opened));
  return noErr;
}

void FolderTable::ForgetPathIfStale(const std::string& path) {
  const Folder* folder = Find(FindByPath(path));
  if (folder == nullptr) return;
  struct statx info = {};
  const int result = statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, kIdentityMask, &info);
  const bool isThere = result == 0 && Identity::Of(info).Matches(folder->self.GetIdentity());
  if (!isThere) byPath_.erase(path);
}

void FolderTable::CloseLeastUsed(size_t keep) {
  while (openFolders_.size() > keep) {
    folders_[openFolders_.back() - 1]->descriptor.reset();
    openFolders_.pop_back();
  }
}

void FolderTable::ReleaseTo(size_t mark) {
  while (folders_.size() > mark) {
    const auto number = static_cast<uint32_t>(folders_.size());
    const Folder& folder = *folders_.back();
    if (folder.descriptor) openFolders_.erase(folder.use);
    const auto named = byPath_.find(folder.path);
    if (named != byPath_.end() && named->second == number) byPath_.erase(named);
    const auto [first, last] = byKey_.equal_range(KeyOf(folder.self));
    for (auto it = first; it != last; ++it) {
      if (it->second != number) continue;
      byKey_.erase(it);
      break;
    }
    folders_.pop_back();
  }
}

}  // namespace tessary
