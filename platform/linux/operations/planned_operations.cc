#include "platform/linux/operations/planned_operations.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/catalog/place_attributes.h"
#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/linux/changes/deletion_check.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/tree_walk.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"

namespace tessary {
namespace {

std::unique_ptr<PlannedOperations> gPlannedOperations;

constexpr uint64_t kStatBlockSize = 512;  // of stx_blocks

PlannedItems& Plan() { return *Catalog::Get().planned(); }

// By the effective IDs, which the other system calls use.
int AccessError(int folder, const char* name, int mode) {
  return faccessat(folder, name, mode, AT_EACCESS | AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

Status ReadStatus(const Place& place) {
  return StatusFromErrno(AccessError(place.descriptor(), place.name.c_str(), R_OK));
}

// Visits what is in a folder that is to be copied.
class FolderCopyCheck : public TreeVisitor {
 public:
  Status VisitObject(int folder, const char* name, const struct statx& info) override {
    if (S_ISLNK(info.stx_mode)) return noErr;
    if (!S_ISREG(info.stx_mode)) return paramErr;
    size_ += info.stx_blocks * kStatBlockSize;
    return StatusFromErrno(AccessError(folder, name, R_OK));
  }

  uint64_t size() const { return size_; }

 private:
  uint64_t size_ = 0;
};

Status CheckFolderCopy(const Place& place, uint64_t* size) {
  const UniqueFd opened =
      OpenWithoutAtime(place.descriptor(), place.name.c_str(), O_DIRECTORY | O_NOFOLLOW);
  if (!opened) return LastError();
  FolderCopyCheck check;
  const Status status = WalkTree(opened.get(), check);
  *size = check.size();
  return status;
}

// Returns whether an interned folder is the folder of the identity, or inside it.
bool IsWithin(uint32_t folder, const Identity& identity) {
  const FolderTable& folders = Catalog::Get().folders();
  for (const Folder* at = folders.Find(folder); at != nullptr; at = folders.Find(at->self.parent)) {
    if (at->self.GetIdentity().Equals(identity)) return true;
  }
  return false;
}

bool IsIntoItself(const Reference& source, const Target& target) {
  return source.IsFolder() && IsWithin(target.folder, source.GetIdentity());
}

bool HasSidecarInPlan(uint32_t folder, const std::string& name) {
  Catalog& catalog = Catalog::Get();
  Reference found;
  return catalog.folders().HasSidecars(folder) && !IsSidecarName(name) &&
         catalog.LookUp(folder, SidecarName(name), &found) == noErr &&
         found.kind == NodeKind::kFile;
}

// Returns noErr if the name is free, and that of the sidecar if there is one; dupFNErr if one is
// not; otherwise why it cannot be looked up, bdNamErr for example.
Status CheckNamesAreFree(const Target& target, bool hasSidecar) {
  Catalog& catalog = Catalog::Get();
  Reference found;
  Status status = catalog.LookUp(target.folder, target.place.name, &found);
  if (status == fnfErr && hasSidecar) {
    status = catalog.LookUp(target.folder, SidecarName(target.place.name), &found);
  }
  if (status == noErr) return dupFNErr;
  return status == fnfErr ? noErr : status;
}

bool IsCopyable(const struct statx& info) {
  return S_ISREG(info.stx_mode) || S_ISDIR(info.stx_mode) || S_ISLNK(info.stx_mode);
}

// What the plan records about the object of a reference: where it is now.
PlannedItems::Item ItemOf(const Reference& reference) {
  const std::string_view name = Catalog::Get().names().NameOf(reference);
  const PlannedItems::Item* planned = Plan().Find(reference.parent, name);
  if (planned != nullptr) return *planned;
  return {.object = reference, .state = PlannedState::kMoved};
}

// Returns whether no object would be in the folder. False if it cannot be read.
bool IsEmptyFolder(const Reference& reference) {
  uint32_t number = 0;
  FolderHandle handle;
  Catalog& catalog = Catalog::Get();
  if (catalog.OpenFolder(reference, &number, &handle) != noErr) return false;
  if (Plan().HasItemsIn(number)) return false;
  if (catalog.folders().IsPlanned(number)) return true;
  const UniqueFd opened = OpenWithoutAtime(handle->get(), ".", O_DIRECTORY);
  std::vector<std::string> names;
  const auto isLeft = [number](std::string_view name) { return !Plan().Covers(number, name); };
  return opened && ReadFolderNames(opened.get(), isLeft, &names) == noErr && names.empty();
}

// Returns whether copies within the filesystem share their blocks with the originals.
bool SharesBlocks(int folder) {
  struct statfs info = {};
  return fstatfs(folder, &info) == 0 &&
         (info.f_type == BTRFS_SUPER_MAGIC || info.f_type == XFS_SUPER_MAGIC);
}

}  // namespace

PlannedOperations* PlannedOperations::Current() { return gPlannedOperations.get(); }

const PlannedOperations::Permissions& PlannedOperations::PermissionsOf(uint32_t folder) {
  const auto [entry, isNew] = permissions_.try_emplace(folder);
  Permissions& found = entry->second;
  if (!isNew) return found;
  FolderHandle handle;
  FolderTable& folders = Catalog::Get().folders();
  if (folders.Open(folder, &handle) != noErr ||
      ReadObjectInfo(handle->get(), "", &found.info) != noErr) {
    found.addError = found.removeError = ENOENT;
    return found;
  }
  if (folders.IsPlanned(folder)) {
    // `info` is that of the folder around it, whose mount it would be on.
    found.info.stx_mode = S_IFDIR | 0777;
    found.info.stx_uid = geteuid();
    return found;
  }
  found.addError = AccessError(handle->get(), ".", W_OK | X_OK);
  const bool isAppendOnly = (found.info.stx_attributes & STATX_ATTR_APPEND) != 0;
  found.removeError = found.addError == 0 && isAppendOnly ? EPERM : found.addError;
  return found;
}

Status PlannedOperations::CreateFolder(const FSRef& parent, std::u16string_view name,
                                       FSRef* folder) {
  Target target;
  const std::u16string newName(name);
  Status status = FindTarget(parent, &newName, {}, &target);
  if (status == noErr) status = CheckNamesAreFree(target, /*hasSidecar=*/false);
  if (status == noErr) status = StatusFromErrno(PermissionsOf(target.folder).addError);
  if (status != noErr) return status;
  Catalog::Get().stats().Forget(target.folder, target.place.name);
  *folder = RefOf(Plan().AddFolder(target.folder, target.place.name));
  return noErr;
}

Status PlannedOperations::Begin(const FSRef& source, const FSRef& folder,
                                const std::u16string* newName, Transfer* transfer) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(source);
  const CachedStat* cached = nullptr;
  const Status status = catalog.Stat(reference, &cached);
  if (status != noErr) return status;
  if (reference.parent == 0) return paramErr;
  transfer->source = reference;
  transfer->name = catalog.names().NameOf(reference);
  // Copies: the entry of the cache may be reused by the lookups below.
  transfer->from = cached->place;
  transfer->info = cached->info;
  transfer->hasSidecar = HasSidecarInPlan(reference.parent, transfer->name);
  return FindTarget(folder, newName, transfer->name, &transfer->to);
}

Status PlannedOperations::Move(const FSRef& source, const FSRef& folder,
                               const std::u16string* newName, FSRef* target) {
  Transfer transfer;
  Status status = Begin(source, folder, newName, &transfer);
  if (status != noErr) return status;
  const struct statx& from = PermissionsOf(transfer.source.parent).info;
  const struct statx& to = PermissionsOf(transfer.to.folder).info;
  // A rename fails between two mounts, and on btrfs between two subvolumes of one.
  const bool isRename =
      !IsOnOtherMount(from, to) && Identity::Of(from).device == Identity::Of(to).device;
  status = isRename ? CheckRename(transfer) : CheckMoveAcrossFilesystems(transfer);
  if (status != noErr) return status;
  Add(transfer, isRename, /*isMoved=*/true, target);
  return noErr;
}

// In the order of the checks in renameat2.
Status PlannedOperations::CheckRename(const Transfer& transfer) {
  const Permissions& to = PermissionsOf(transfer.to.folder);
  if (to.addError == EROFS) return wPrErr;
  if (const Status status = CheckNamesAreFree(transfer.to, transfer.hasSidecar)) return status;
  if (IsIntoItself(transfer.source, transfer.to)) return badMovErr;
  if (const int error = CheckRemoval(transfer.source.parent, transfer.info)) {
    return StatusFromErrno(error);
  }
  if (to.addError != 0) return StatusFromErrno(to.addError);
  // A folder that gets another parent has to be writable, because its ".." changes.
  if (!S_ISDIR(transfer.info.stx_mode)) return noErr;
  const Place& from = transfer.from;
  return StatusFromErrno(AccessError(from.descriptor(), from.name.c_str(), W_OK));
}

Status PlannedOperations::CheckMoveAcrossFilesystems(const Transfer& transfer) {
  if (!IsCopyable(transfer.info)) return paramErr;
  const Place& from = transfer.from;
  Status status = StatusFromErrno(CheckRemoval(transfer.source.parent, transfer.info));
  if (status == noErr && S_ISDIR(transfer.info.stx_mode) && from.planned == PlannedState::kNone) {
    status = CheckDeletable(from.descriptor(), from.name.c_str(), transfer.info);
  }
  uint64_t size = 0;
  if (status == noErr) status = CheckCopy(transfer, &size);
  if (status == noErr) CountSpace(transfer.to, transfer, size);
  return status;
}

Status PlannedOperations::Copy(const FSRef& source, const FSRef& folder,
                               const std::u16string* newName, FSRef* target) {
  Transfer transfer;
  uint64_t size = 0;
  Status status = Begin(source, folder, newName, &transfer);
  if (status == noErr) status = CheckCopy(transfer, &size);
  if (status != noErr) return status;
  CountSpace(transfer.to, transfer, size);
  Add(transfer, /*isRenamed=*/false, /*isMoved=*/false, target);
  return noErr;
}

// In the order of PublishCopy, which looks the name of a small file up last.
Status PlannedOperations::CheckCopy(const Transfer& transfer, uint64_t* size) {
  constexpr uint64_t kSmall = 1 << 20;
  const struct statx& info = transfer.info;
  if (!IsCopyable(info)) return paramErr;
  *size = info.stx_blocks * kStatBlockSize;
  const Status named = CheckNamesAreFree(transfer.to, transfer.hasSidecar);
  const bool isSmall = S_ISREG(info.stx_mode) && info.stx_size <= kSmall;
  if (!isSmall && named != noErr) return named;
  Status status = S_ISLNK(info.stx_mode) ? noErr : ReadStatus(transfer.from);
  if (status == noErr && IsIntoItself(transfer.source, transfer.to)) status = badMovErr;
  if (status == noErr) status = StatusFromErrno(PermissionsOf(transfer.to.folder).addError);
  if (status == noErr && S_ISDIR(info.stx_mode)) status = CheckFolderCopy(transfer.from, size);
  return status == noErr ? named : status;
}

// Returns 0 or an errno.
int PlannedOperations::CheckRemoval(uint32_t folder, const struct statx& info) {
  const Permissions& permissions = PermissionsOf(folder);
  if (permissions.removeError != 0) return permissions.removeError;
  const Status status = CheckObjectDeletable(permissions.info, info);
  if (status == noErr) return 0;
  return status == fBsyErr ? EBUSY : EPERM;
}

void PlannedOperations::Add(const Transfer& transfer, bool isRenamed, bool isMoved, FSRef* target) {
  Catalog& catalog = Catalog::Get();
  const Target& to = transfer.to;
  const auto add = [&](const Reference& source, const std::string& toName) {
    PlannedItems::Item item = ItemOf(source);
    if (!isRenamed) {
      item.inode = Plan().NewInode();
      if (!isMoved) {
        item.state = PlannedState::kCopied;
      } else if (item.state == PlannedState::kMoved) {
        item.state = PlannedState::kMovedAcrossFilesystems;
      }
      if (!HasAttributes(to)) item.state = PlannedState::kWithoutAttributes;
    }
    if (isMoved) Free(source.parent, std::string(catalog.names().NameOf(source)));
    catalog.stats().Forget(to.folder, toName);
    return Plan().Add(to.folder, toName, item);
  };
  if (transfer.hasSidecar) {
    Reference sidecar;
    // Found by Begin.
    if (catalog.LookUp(transfer.source.parent, SidecarName(transfer.name), &sidecar) == noErr) {
      (void)add(sidecar, SidecarName(to.place.name));
      catalog.folders().NoteSidecar(to.folder);
    }
  }
  *target = RefOf(add(transfer.source, to.place.name));
  // The engine asks for the moved item at once. The cache is by name.
  if (!isRenamed || transfer.hasSidecar || transfer.from.name != to.place.name) return;
  const PlannedItems::Item* added = Plan().Find(to.folder, to.place.name);
  if (added == nullptr || added->inode != 0) return;
  Place place = transfer.from;
  place.planned = added->state;
  place.mayHaveSidecar = false;
  catalog.stats().Insert(to.folder, place, transfer.info);
}

void PlannedOperations::Free(uint32_t folder, const std::string& name) {
  Catalog::Get().stats().Forget(folder, name);
  Plan().Remove(folder, name);
}

bool PlannedOperations::HasAttributes(const Target& target) {
  const auto [entry, isNew] = hasAttributes_.try_emplace(target.identity.device, true);
  if (!isNew) return entry->second;
  const Place folder = {.folder = target.place.folder, .name = "."};
  entry->second = GetAttribute(folder, kCommentAttribute, nullptr, 0) >= 0 || errno != ENOTSUP;
  return entry->second;
}

void PlannedOperations::CountSpace(const Target& target, const Transfer& transfer, uint64_t size) {
  const bool isSameDevice = Identity::Of(transfer.info).device == target.identity.device;
  const bool isShared = isSameDevice && SharesBlocks(target.place.descriptor());
  AddSpace(target.folder, isShared ? 0 : static_cast<int64_t>(size));
}

void PlannedOperations::AddSpace(uint32_t folder, int64_t bytes) {
  FolderHandle handle;
  // A folder that has vanished has failed the operation already.
  if (Catalog::Get().folders().Open(folder, &handle) != noErr) return;
  Space& space = space_[Identity::Of(PermissionsOf(folder).info).device];
  space.folder = handle;
  space.needed += bytes;
}

Status PlannedOperations::Delete(const FSRef& ref) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(ref);
  const CachedStat* cached = nullptr;
  const Status status = catalog.Stat(reference, &cached);
  if (status != noErr) return status;
  if (reference.parent == 0) return fBsyErr;
  // Copies: the entry of the cache may be reused by the lookups below.
  const struct statx info = cached->info;
  const bool isFile = S_ISREG(info.stx_mode) && info.stx_nlink <= 1;
  if (const int error = CheckRemoval(reference.parent, info)) return StatusFromErrno(error);
  if (S_ISDIR(info.stx_mode) && !IsEmptyFolder(reference)) return fBsyErr;
  // An item is deleted from a folder that the run need not have listed.
  ScanForSidecars(reference.parent);
  const std::string name(catalog.names().NameOf(reference));
  const bool hasSidecar = HasSidecarInPlan(reference.parent, name);
  if (isFile) AddSpace(reference.parent, -static_cast<int64_t>(info.stx_blocks * kStatBlockSize));
  if (hasSidecar) Free(reference.parent, SidecarName(name));
  Free(reference.parent, name);
  return noErr;
}

int PlannedOperations::Unlink(uint32_t folder, const std::string& name) {
  Catalog& catalog = Catalog::Get();
  Reference found;
  const CachedStat* cached = nullptr;
  Status status = catalog.LookUp(folder, name, &found);
  if (status == noErr) status = catalog.Stat(found, &cached);
  if (status != noErr) return status == fnfErr ? ENOENT : EIO;
  const bool isFolder = S_ISDIR(cached->info.stx_mode);
  const int error = CheckRemoval(folder, cached->info);
  if (isFolder) return error == 0 || error == EBUSY ? EISDIR : error;
  if (error == 0) Free(folder, name);
  return error;
}

std::vector<FSSpaceShortage> PlannedOperations::FindShortages() const {
  std::vector<FSSpaceShortage> shortages;
  for (const auto& [device, space] : space_) {
    struct statvfs info = {};
    if (space.needed <= 0 || fstatvfs(space.folder->get(), &info) != 0) continue;
    const uint64_t available = uint64_t{info.f_bavail} * info.f_frsize;
    const auto needed = static_cast<uint64_t>(space.needed);
    if (needed > available) shortages.push_back({.needed = needed, .available = available});
  }
  return shortages;
}

FSPlannedChanges::FSPlannedChanges() {
  Catalog::Get().BeginPlan();
  gPlannedOperations = std::make_unique<PlannedOperations>();
}

FSPlannedChanges::~FSPlannedChanges() {
  gPlannedOperations.reset();
  Catalog::Get().EndPlan();
}

std::vector<FSSpaceShortage> FSPlannedChanges::FindShortages() const {
  return gPlannedOperations->FindShortages();
}

}  // namespace tessary
