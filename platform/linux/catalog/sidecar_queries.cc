#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/names.h"
#include "platform/linux/catalog/sidecar_data.h"
#include "platform/linux/catalog/temp_name.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/managers/file_manager.h"

// What the engine asks about sidecars.
namespace tessary {
namespace {

bool NameExists(int folder, const std::string& name) {
  struct stat info = {};
  return fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

bool NameIsGone(int folder, const std::string& name) {
  return !NameExists(folder, name) && errno == ENOENT;
}

}  // namespace

bool FSIsSidecarNameUsed(const FSRef& item, const FSRef& folder, std::u16string_view name) {
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(item);
  // Known without a system call, as for most items.
  if (!catalog.folders().HasSidecars(reference.parent)) return false;
  Place place;
  if (catalog.Find(reference, &place) != noErr || !HasSidecar(place)) return false;
  const Reference target = ReferenceOf(folder);
  uint32_t number = 0;
  FolderHandle handle;
  if (catalog.OpenFolder(target, &number, &handle) != noErr) return false;
  std::string newName;
  if (PosixName(name, VolumeOf(target.device, handle->get()), &newName) != noErr) return false;
  return NameExists(handle->get(), SidecarName(newName));
}

bool FSIsDisappearanceExpected(const FSRef& ref) {
  constexpr size_t kPrefixSize = 2;
  Place place;
  if (Catalog::Get().Find(ReferenceOf(ref), &place) != noErr) return false;
  if (!NameIsGone(place.descriptor(), place.name)) return false;
  if (place.name.starts_with(kTempPrefix)) return true;
  return IsSidecarName(place.name) &&
         NameIsGone(place.descriptor(), place.name.substr(kPrefixSize));
}

}  // namespace tessary
