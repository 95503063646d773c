#include "platform/linux/catalog/folder_table.h"

#include <fcntl.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <utility>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/descriptors/descriptor_limit.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// O_PATH: a folder that may be entered but not listed can be opened, too, and its access date
// stays.
constexpr int kOpenFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// A walk uses few folders at a time. The limit leaves most descriptors to the rest of the process.
size_t MaxOpenFolders() {
  constexpr size_t kUsual = 64;
  constexpr size_t kShares = 4;
  return DescriptorBudget(kUsual, kShares);
}

std::string JoinPath(std::string folder, std::string_view name) {
  if (folder != "/") folder += '/';
  return folder.append(name);
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
  // The factor spreads the hash: numbers of parents differ in few bits only.
  return std::hash<uint64_t>()(key.nameHash * 0x9E3779B97F4A7C15 ^ place);
}

FolderTable::Key FolderTable::KeyOf(const Reference& reference) const {
  return {std::hash<std::string_view>()(names_->NameOf(reference)), reference.device,
          reference.parent};
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
  const Key key = KeyOf(reference);
  folder->nameHash = key.nameHash;
  if (reference.parent == 0) {
    folder->path = "/";
  } else {
    const Folder* parent = Find(reference.parent);
    const std::string_view name = names_->NameOf(reference);
    if (parent == nullptr || name.empty()) return 0;
    // Below a folder whose path is too long, every path is too long.
    if (!parent->path.empty() && parent->path.size() + 1 + name.size() < PATH_MAX) {
      folder->path = JoinPath(parent->path, name);
    }
  }
  folders_.push_back(std::move(folder));
  const auto number = static_cast<uint32_t>(folders_.size());
  // The newest folder has the path: an older one is no longer there.
  if (!folders_.back()->path.empty()) byPath_[folders_.back()->path] = number;
  byKey_.emplace(key, number);
  return number;
}

std::string FolderTable::PathOf(uint32_t number) const {
  std::vector<std::string_view> names;
  const Folder* folder = Find(number);
  while (folder != nullptr && folder->path.empty()) {
    names.push_back(names_->NameOf(folder->self));
    folder = Find(folder->self.parent);
  }
  if (folder == nullptr) return {};
  std::string path = folder->path;
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    path = JoinPath(std::move(path), *name);
  }
  return path;
}

std::string FolderTable::PathOfChild(uint32_t number, std::string_view name) const {
  const Folder* folder = Find(number);
  if (folder == nullptr || name.empty()) return {};
  if (folder->path.empty()) {
    std::string path = PathOf(number);
    return path.empty() ? path : JoinPath(std::move(path), name);
  }
  std::string path;
  path.reserve(folder->path.size() + 1 + name.size());
  path.append(folder->path);
  return JoinPath(std::move(path), name);
}

uint32_t FolderTable::FindByPath(const std::string& path) const {
  const auto found = byPath_.find(path);
  return found == byPath_.end() ? 0 : found->second;
}

const Folder* FolderTable::Find(uint32_t number) const {
  if (number == 0 || number > folders_.size()) return nullptr;
  return folders_[number - 1].get();
}

Folder* FolderTable::FindMutable(uint32_t number) {
  return Find(number) == nullptr ? nullptr : folders_[number - 1].get();
}

Status FolderTable::Open(uint32_t number, FolderHandle* handle) {
  const Folder* folder = Find(number);
  if (folder == nullptr) return fnfErr;
  if (folder->descriptor) {
    openFolders_.splice(openFolders_.begin(), openFolders_, folder->use);
    *handle = folder->descriptor;
    return noErr;
  }
  if (folder->standIn != 0) return Open(folder->standIn, handle);
  const Status status = OpenUncached(number, handle);
  if (status != tmfoErr || openFolders_.empty()) return status;
  // The process has no descriptors left. Those of this table are the only ones that can be closed
  // without harm.
  CloseLeastRecentlyUsed(0);
  return OpenUncached(number, handle);
}

// Opens the folder by its path if it has one, otherwise name by name from the nearest folder above
// it that is open or has a path.
Status FolderTable::OpenUncached(uint32_t number, FolderHandle* handle) {
  std::vector<uint32_t> below;
  uint32_t nearest = number;
  const Folder* top = Find(nearest);
  while (top->path.empty() && !top->descriptor) {
    below.push_back(nearest);
    nearest = top->self.parent;
    top = Find(nearest);
    if (top == nullptr) return fnfErr;
  }
  FolderHandle opened = top->descriptor;
  if (!opened) {
    const Status status = OpenVerified(AT_FDCWD, top->path.c_str(), nearest, &opened);
    if (status != noErr) return status;
  }
  for (auto next = below.rbegin(); next != below.rend(); ++next) {
    const std::string name(names_->NameOf(Find(*next)->self));
    const Status status = OpenVerified(opened->get(), name.c_str(), *next, &opened);
    if (status != noErr) return status;
  }
  *handle = std::move(opened);
  return noErr;
}

// Opens the folder and compares its identity with that of the folder that was interned, so that an
// object that has been put at the path since is not followed.
Status FolderTable::OpenVerified(int above, const char* path, uint32_t number,
                                 FolderHandle* handle) {
  Folder& folder = *folders_[number - 1];
  CloseLeastRecentlyUsed(MaxOpenFolders() - 1);
  UniqueFd opened(openat(above, path, kOpenFlags));
  if (!opened) return errno == ENOTDIR || errno == ELOOP ? errFSNotAFolder : LastError();
  struct statx info = {};
  if (statx(opened.get(), "", AT_EMPTY_PATH, kIdentityMask, &info) != 0) return LastError();
  // Examines the filesystem, so that Matches knows whether its inode numbers are stable.
  (void)VolumeOf(folder.self.device, opened.get());
  if (!Identity::Of(info).Matches(folder.self.GetIdentity())) return fnfErr;
  FolderHandle held = std::make_shared<const UniqueFd>(std::move(opened));
  openFolders_.push_front(number);
  // Nothing fails from here on: a folder is in the list exactly if it has a descriptor.
  folder.descriptor = std::move(held);
  folder.use = openFolders_.begin();
  *handle = folder.descriptor;
  return noErr;
}

void FolderTable::SetStandIn(uint32_t number, uint32_t standIn, bool isPlanned) {
  Folder* folder = FindMutable(number);
  if (folder == nullptr) return;
  folder->standIn = standIn;
  folder->isPlanned = isPlanned;
}

bool FolderTable::IsPlanned(uint32_t number) const {
  const Folder* folder = Find(number);
  return folder != nullptr && folder->isPlanned;
}

void FolderTable::NoteSidecar(uint32_t number) {
  if (Folder* folder = FindMutable(number)) folder->hasSidecars = true;
}

bool FolderTable::HasSidecars(uint32_t number) const {
  const Folder* folder = Find(number);
  return folder != nullptr && folder->hasSidecars;
}

void FolderTable::NoteListed(uint32_t number) {
  if (Folder* folder = FindMutable(number)) folder->isListed = true;
}

bool FolderTable::IsListed(uint32_t number) const {
  const Folder* folder = Find(number);
  return folder != nullptr && folder->isListed;
}

void FolderTable::NoteRecovered(uint32_t number) {
  if (Folder* folder = FindMutable(number)) folder->isRecovered = true;
}

bool FolderTable::IsRecovered(uint32_t number) const {
  const Folder* folder = Find(number);
  return folder != nullptr && folder->isRecovered;
}

void FolderTable::ForgetPathIfStale(const std::string& path) {
  const Folder* folder = Find(FindByPath(path));
  if (folder == nullptr) return;
  struct statx info = {};
  const int result = statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, kIdentityMask, &info);
  const bool isThere = result == 0 && S_ISDIR(info.stx_mode) &&
                       Identity::Of(info).Matches(folder->self.GetIdentity());
  if (!isThere) byPath_.erase(path);
}

void FolderTable::CloseLeastRecentlyUsed(size_t keep) {
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
    // The path may belong to a newer folder by now.
    const auto named = byPath_.find(folder.path);  // the empty path is never among them
    if (named != byPath_.end() && named->second == number) byPath_.erase(named);
    const auto [first, last] =
        byKey_.equal_range({folder.nameHash, folder.self.device, folder.self.parent});
    for (auto it = first; it != last; ++it) {
      if (it->second != number) continue;
      byKey_.erase(it);
      break;
    }
    folders_.pop_back();
  }
  // Both hold for one run only.
  for (const auto& folder : folders_) folder->isListed = folder->isRecovered = false;
}

}  // namespace tessary
