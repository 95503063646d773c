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

enum class NameState { kExists, kGone, kUnknown };

// What has the name in the interned folder that is open as `handle`.
NameState StateOfName(uint32_t folder, const FolderHandle& handle, const std::string& name) {
  const PlannedItems* plan = Catalog::Get().planned();
  if (plan != nullptr && plan->Covers(folder, name)) {
    return plan->Find(folder, name) != nullptr ? NameState::kExists : NameState::kGone;
  }
  struct stat info = {};
  if (fstatat(handle->get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
    return NameState::kExists;
  }
  return errno == ENOENT ? NameState::kGone : NameState::kUnknown;
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
  return StateOfName(number, handle, SidecarName(newName)) == NameState::kExists;
}

bool FSIsDisappearanceExpected(const FSRef& ref) {
  constexpr size_t kPrefixSize = 2;
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(ref);
  const std::string name(catalog.names().NameOf(reference));
  FolderHandle handle;
  if (name.empty() || catalog.folders().Open(reference.parent, &handle) != noErr) return false;
  const auto isGone = [&](const std::string& some) {
    return StateOfName(reference.parent, handle, some) == NameState::kGone;
  };
  if (!isGone(name)) return false;
  return name.starts_with(kTempPrefix) || (IsSidecarName(name) && isGone(name.substr(kPrefixSize)));
}

}  // namespace tessary
