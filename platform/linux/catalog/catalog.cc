#include "platform/linux/catalog/catalog.h"

#include <fcntl.h>

#include "platform/linux/errors.h"
#include "platform/linux/process_path.h"

namespace tessary {
namespace {

constexpr int kAskFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

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
  Place found;
  const Status status = Find(reference, &found);
  if (status != noErr) return status;
  struct statx answer = {};
  const int result =
      statx(found.descriptor(), found.name.c_str(), kAskFlags, mask | kIdentityMask, &answer);
  if (result != 0) return LastError();
  if (!Identity::Of(answer).Matches(reference.GetIdentity())) return fnfErr;
  *info = answer;
  if (place != nullptr) *place = std::move(found);
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
  FolderHandle handle;
  const Status status = folders_.Open(folder, &handle);
  if (status != noErr) return status;
  struct statx info = {};
  if (statx(handle->get(), name.c_str(), kAskFlags, kIdentityMask, &info) != 0) return LastError();
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
