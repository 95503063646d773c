#include "platform/linux/catalog/catalog.h"

#include <fcntl.h>

#include <utility>

#include "platform/linux/errors.h"
#include "platform/linux/process_path.h"

namespace tessary {
namespace {

constexpr int kAskFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

// The date of its last change too, which a run by date asks for next.
constexpr unsigned kLookMask = kIdentityMask | STATX_MTIME;

}  // namespace

std::string Place::ProcessPath() const { return ProcessPathOf(descriptor()) + "/" + name; }

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
  if (name.empty()) return fnfErr;
  place->name = name;
  place->mayHaveSidecar = folders_.HasSidecars(reference.parent);
  return folders_.Open(reference.parent, &place->folder);
}

Status Catalog::Ask(const Reference& reference, unsigned mask, struct statx* info, Place* place) {
  const Look* look = nullptr;
  if ((mask & ~kLookMask) == 0) look = step_.Find(reference.parent, names_.NameOf(reference));
  if (look == nullptr) return AskAnew(reference, mask, info, place);
  if (!IsObjectOf(reference, look->info)) return fnfErr;
  *info = look->info;
  if (place != nullptr) *place = look->place;
  return noErr;
}

Status Catalog::AskAnew(const Reference& reference, unsigned mask, struct statx* info,
                        Place* place) {
  Place found;
  const Status status = Find(reference, &found);
  if (status != noErr) return status;
  struct statx answer = {};
  const int result =
      statx(found.descriptor(), found.name.c_str(), kAskFlags, mask | kLookMask, &answer);
  if (result != 0) return LastError();
  if (!IsObjectOf(reference, answer)) return fnfErr;
  *info = answer;
  if (place != nullptr) *place = found;
  if (reference.parent != 0) step_.Remember(reference.parent, std::move(found), answer);
  return noErr;
}

Status Catalog::OpenFolder(const Reference& reference, uint32_t* number, FolderHandle* handle) {
  if (reference.IsNone()) return paramErr;
  if (!reference.IsFolder()) return errFSNotAFolder;
  const uint32_t interned = folders_.Intern(reference);
  if (interned == 0) return fnfErr;
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
  if (statx(AT_FDCWD, "/", kAskFlags, kIdentityMask, &info) != 0) return LastError();
  *reference = MakeReference(0, "", info);
  return noErr;
}

Status Catalog::LookUp(uint32_t folder, const std::string& name, Reference* reference) {
  if (const Look* look = step_.Find(folder, name); look != nullptr) {
    *reference = MakeReference(folder, name, look->info);
    return noErr;
  }
  Place place;
  place.name = name;
  const Status status = folders_.Open(folder, &place.folder);
  if (status != noErr) return status;
  struct statx info = {};
  if (statx(place.descriptor(), name.c_str(), kAskFlags, kLookMask, &info) != 0) return LastError();
  place.mayHaveSidecar = folders_.HasSidecars(folder);
  step_.Remember(folder, std::move(place), info);
  *reference = MakeReference(folder, name, info);
  return noErr;
}

std::string Catalog::PathOf(const Reference& reference) {
  if (reference.IsNone()) return {};
  if (reference.parent == 0) return "/";
  const std::string_view name = names_.NameOf(reference);
  std::string path = folders_.PathOf(reference.parent);
  if (path.empty() || name.empty()) return {};
  if (path != "/") path += '/';
  return path.append(name);
}

}  // namespace tessary
