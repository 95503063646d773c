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

Status Catalog::Ask(const Reference& reference, const Look** look) {
  *look = step_.Find(reference.parent, names_.NameOf(reference));
  if (*look == nullptr) return AskAnew(reference, look);
  if (IsObjectOf(reference, (*look)->info)) return noErr;
  *look = nullptr;
  return fnfErr;
}

Status Catalog::AskAnew(const Reference& reference, const Look** look) {
  *look = nullptr;
  Look* room = step_.MakeRoom(reference.parent, names_.NameOf(reference));
  const Status status = Find(reference, &room->place);
  if (status != noErr) return status;
  const char* name = room->place.name.c_str();
  if (statx(room->place.descriptor(), name, kAskFlags, kLookMask, &room->info) != 0) {
    return LastError();
  }
  if (!IsObjectOf(reference, room->info)) return fnfErr;
  step_.Keep(room, reference.parent);
  *look = room;
  return noErr;
}

bool Catalog::IsThere(const Reference& reference) {
  const Look* look = nullptr;
  return Ask(reference, &look) == noErr;
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
  const Look* look = step_.Find(folder, name);
  if (look == nullptr) {
    Look* room = step_.MakeRoom(folder, name);
    const Status status = folders_.Open(folder, &room->place.folder);
    if (status != noErr) return status;
    const int descriptor = room->place.descriptor();
    if (statx(descriptor, name.c_str(), kAskFlags, kLookMask, &room->info) != 0) return LastError();
    room->place.mayHaveSidecar = folders_.HasSidecars(folder);
    step_.Keep(room, folder);
    look = room;
  }
  *reference = MakeReference(folder, name, look->info);
  return noErr;
}

std::string Catalog::PathOf(const Reference& reference) {
  if (reference.IsNone()) return {};
  if (reference.parent == 0) return "/";
  return folders_.PathOfChild(reference.parent, names_.NameOf(reference));
}

}  // namespace tessary
