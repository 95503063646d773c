#include "platform/linux/catalog/catalog.h"

#include <fcntl.h>

#include <utility>

#include "platform/linux/errors.h"

namespace tessary {
namespace {

constexpr int kStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

// Includes the modification date, so that a run by date needs no second statx for each item, and in
// the same way the size, for CopyItemSize.
constexpr unsigned kStatMask = kIdentityMask | STATX_MTIME | STATX_SIZE;

}  // namespace

Catalog& Catalog::Get() {
  static Catalog catalog;
  return catalog;
}

Status Catalog::Find(const Reference& reference, Place* place) {
  if (reference.IsNone()) return paramErr;
  if (reference.parent == 0) {
    uint32_t number = 0;
    place->name = "/";
    return OpenFolder(reference, &number, &place->folder);
  }
  const std::string_view name = names_.NameOf(reference);
  return name.empty() ? fnfErr : FindPlace(reference.parent, name, place);
}

Status Catalog::FindPlace(uint32_t folder, std::string_view name, Place* place) {
  if (planned_ != nullptr && planned_->Covers(folder, name)) {
    return planned_->FindPlace(folder, name, place);
  }
  place->name = name;
  place->mayHaveSidecar = folders_.HasSidecars(folder);
  return folders_.Open(folder, &place->folder);
}

Status Catalog::Stat(const Reference& reference, const CachedStat** cached) {
  *cached = statCache_.Find(reference.parent, names_.NameOf(reference));
  if (*cached == nullptr) return Restat(reference, cached);
  // The cache is by name. Two references to one name may be of different objects.
  if (IsObjectOf(reference, (*cached)->info)) return noErr;
  *cached = nullptr;
  return fnfErr;
}

Status Catalog::Restat(const Reference& reference, const CachedStat** cached) {
  *cached = nullptr;
  const std::string_view name = names_.NameOf(reference);
  CachedStat* entry = statCache_.NewEntry(reference.parent, name);
  Status status = Find(reference, &entry->place);
  if (status == noErr) status = StatAt(reference, entry);
  if (status != noErr) return status;
  // Without this check, an object that replaced the item between listing and use would be changed
  // in its place.
  if (!IsObjectOf(reference, entry->info)) return fnfErr;
  // A planned object may have another name now, by which the cache must not find it.
  if (entry->place.name == name || reference.parent == 0) {
    statCache_.Commit(entry, reference.parent);
  }
  *cached = entry;
  return noErr;
}

// Stats the object at the place of the entry.
Status Catalog::StatAt(const Reference& reference, CachedStat* entry) {
  const Place& place = entry->place;
  if (place.planned != PlannedState::kNone) {
    return planned_->Stat(reference.parent, names_.NameOf(reference), place, kStatMask,
                          &entry->info);
  }
  const int result =
      statx(place.descriptor(), place.name.c_str(), kStatFlags, kStatMask, &entry->info);
  return result == 0 ? noErr : LastError();
}

bool Catalog::Exists(const Reference& reference) {
  const CachedStat* cached = nullptr;
  return Stat(reference, &cached) == noErr;
}

Status Catalog::OpenFolder(const Reference& reference, uint32_t* number, FolderHandle* handle) {
  if (reference.IsNone()) return paramErr;
  if (!reference.IsFolder()) return errFSNotAFolder;
  const uint32_t interned = folders_.Intern(reference);
  if (interned == 0) return fnfErr;
  if (planned_ != nullptr) planned_->PrepareFolder(reference, interned);
  const Status status = folders_.Open(interned, handle);
  if (status == noErr) *number = interned;
  return status;
}

Reference Catalog::MakeReference(uint32_t folder, std::string_view name, const struct statx& info) {
  const Identity identity = Identity::Of(info);
  Reference reference;
  reference.inode = identity.inode;
  reference.birth = identity.birth;
  reference.device = identity.device;
  reference.parent = folder;
  reference.kind = KindOf(info);
  names_.SetName(&reference, name);
  return reference;
}

Status Catalog::MakeRootReference(Reference* reference) {
  struct statx info = {};
  if (statx(AT_FDCWD, "/", kStatFlags, kIdentityMask, &info) != 0) return LastError();
  *reference = MakeReference(0, "", info);
  return noErr;
}

Status Catalog::LookUp(uint32_t folder, const std::string& name, Reference* reference) {
  if (planned_ != nullptr && planned_->Covers(folder, name)) {
    return planned_->LookUp(folder, name, reference);
  }
  const CachedStat* cached = statCache_.Find(folder, name);
  if (cached == nullptr) {
    CachedStat* entry = statCache_.NewEntry(folder, name);
    const Status status = folders_.Open(folder, &entry->place.folder);
    if (status != noErr) return status;
    const int descriptor = entry->place.descriptor();
    if (statx(descriptor, name.c_str(), kStatFlags, kStatMask, &entry->info) != 0)
      return LastError();
    entry->place.mayHaveSidecar = folders_.HasSidecars(folder);
    statCache_.Commit(entry, folder);
    cached = entry;
  }
  *reference = MakeReference(folder, name, cached->info);
  return noErr;
}

std::string Catalog::PathOf(const Reference& reference) {
  if (reference.IsNone()) return {};
  if (reference.parent == 0) return "/";
  return folders_.PathOfChild(reference.parent, names_.NameOf(reference));
}

}  // namespace tessary
