#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/file_spec.h"
#include "platform/linux/catalog/finder_info.h"
#include "platform/linux/catalog/names.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

constexpr FSCatalogInfoBitmap kFinderFields = kFSCatInfoFinderInfo | kFSCatInfoFinderXInfo;

// Folds a 64-bit inode number into a 32-bit node number. Never returns kFSRootNodeID for an object
// that is not a root: inode 2 is an ordinary file on tmpfs, for example. "/" always counts as a
// root, also in a chroot, where the kernel does not report it as a mount point.
uint32_t NodeNumber(const Reference& reference, const struct statx& info) {
  if (reference.parent == 0 || IsVolumeRoot(info)) return kFSRootNodeID;
  const auto folded = static_cast<uint32_t>(info.stx_ino ^ info.stx_ino >> 32);
  return folded == kFSRootNodeID ? kFSRootNodeID | 0x80000000 : folded;
}

Status ParentOf(const Reference& reference, FSRef* parent) {
  if (reference.parent == 0) {
    *parent = FSRef{};
    return noErr;
  }
  const Folder* folder = Catalog::Get().folders().Find(reference.parent);
  if (folder == nullptr) return fnfErr;
  *parent = RefOf(folder->self);
  return noErr;
}

}  // namespace

Status FSGetCatalogInfo(const FSRef& ref, FSCatalogInfoBitmap whichInfo, FSCatalogInfo* info,
                        std::u16string* name, FSSpec* spec, FSRef* parent) {
  if (whichInfo != kFSCatInfoNone && info == nullptr) return paramErr;
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(ref);
  const bool wantsFinderInfo = (whichInfo & kFinderFields) != 0;
  const CachedStat* cached = nullptr;
  Status status = catalog.Stat(reference, &cached);
  if (status != noErr) return status;

  const struct statx& answer = cached->info;
  FSCatalogInfo found;
  if (wantsFinderInfo) {
    status = ReadFinderInfo(cached->place, KindOf(answer), &found.finderInfo, &found.extFinderInfo);
    if (status != noErr) return status;
  }
  FSRef foundParent;
  if (parent != nullptr) {
    status = ParentOf(reference, &foundParent);
    if (status != noErr) return status;
  }
  if ((whichInfo & kFSCatInfoNodeFlags) != 0) {
    info->nodeFlags = S_ISDIR(answer.stx_mode) ? kFSNodeIsDirectoryMask : uint16_t{0};
  }
  if ((whichInfo & kFSCatInfoNodeID) != 0) info->nodeID = NodeNumber(reference, answer);
  if ((whichInfo & kFSCatInfoFinderInfo) != 0) info->finderInfo = found.finderInfo;
  if ((whichInfo & kFSCatInfoFinderXInfo) != 0) info->extFinderInfo = found.extFinderInfo;
  if (name != nullptr) *name = CatalogName(catalog.names().NameOf(reference));
  if (spec != nullptr) *spec = MakeFileSpec(ref);
  if (parent != nullptr) *parent = foundParent;
  return noErr;
}

FSStatCacheScope::FSStatCacheScope() { Catalog::Get().stats().Begin(); }

FSStatCacheScope::~FSStatCacheScope() { Catalog::Get().stats().End(); }

// kSpecial counts as "may be": an entry has that kind too if its stat failed during the listing.
bool FSMayBeFolder(const FSRef& ref) {
  const NodeKind kind = ReferenceOf(ref).kind;
  return kind != NodeKind::kFile && kind != NodeKind::kLink;
}

bool FSIsFSRefValid(const FSRef& ref) { return Catalog::Get().Exists(ReferenceOf(ref)); }

bool FSIsNameGone(const FSRef& ref) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(ref);
  if (const PlannedItems* plan = catalog.planned()) {
    const std::string_view name = catalog.names().NameOf(reference);
    if (plan->Covers(reference.parent, name)) return plan->Find(reference.parent, name) == nullptr;
  }
  Place place;
  if (catalog.Find(reference, &place) != noErr) return false;
  struct statx info = {};
  return statx(place.descriptor(), place.name.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, 0,
               &info) != 0 &&
         errno == ENOENT;
}

Status FSCompareFSRefs(const FSRef& first, const FSRef& second) {
  const Reference a = ReferenceOf(first);
  const Reference b = ReferenceOf(second);
  if (a.IsNone() || b.IsNone()) return errFSRefsDifferent;
  if (a.GetIdentity().Equals(b.GetIdentity())) return noErr;
  // Without stable inode numbers the two may be one object all the same, if they are in one place.
  const NameTable& names = Catalog::Get().names();
  const bool isSamePlace = a.parent == b.parent && a.parent != 0 &&
                           names.NameOf(a) == names.NameOf(b) &&
                           a.GetIdentity().Matches(b.GetIdentity());
  return isSamePlace ? noErr : errFSRefsDifferent;
}

Status FSMakeFSRefUnicode(const FSRef& parent, std::u16string_view name, FSRef* child) {
  if (child == nullptr) return paramErr;
  *child = FSRef{};
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(parent);
  uint32_t folder = 0;
  FolderHandle handle;
  Status status = catalog.OpenFolder(reference, &folder, &handle);
  if (status != noErr) return status;
  std::string posixName;
  status = PosixName(name, VolumeOf(reference.device, handle->get()), &posixName);
  if (status != noErr) return status;
  Reference found;
  status = catalog.LookUp(folder, posixName, &found);
  if (status == noErr) *child = RefOf(found);
  return status;
}

}  // namespace tessary
