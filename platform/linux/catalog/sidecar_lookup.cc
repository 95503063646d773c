#include "platform/linux/catalog/sidecar_lookup.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/mac_formats/apple_double.h"

namespace tessary {
namespace {

bool IsSidecarOrJournalEntryName(std::string_view name) {
  return IsSidecarName(name) || IsJournalEntryName(name);
}

}  // namespace

bool IsJournalEntryName(std::string_view name) {
  constexpr size_t kUuidSize = 36;
  return name.size() == kJournalEntryPrefix.size() + kUuidSize &&
         name.starts_with(kJournalEntryPrefix);
}

void NoteListed(uint32_t folder, bool hasJournalEntry) {
  Catalog& catalog = Catalog::Get();
  catalog.folders().NoteListed(folder);
  if (!hasJournalEntry) return;
  // The sidecar that comes back was not there to be seen.
  catalog.folders().NoteSidecar(folder);
  FolderHandle handle;
  if (catalog.folders().Open(folder, &handle) == noErr) catalog.RecoverSidecars(handle->get());
}

void ScanForSidecars(uint32_t folder) {
  FolderTable& folders = Catalog::Get().folders();
  FolderHandle handle;
  if (folders.IsListed(folder) || folders.Open(folder, &handle) != noErr) return;
  const UniqueFd opened = OpenWithoutAtime(handle->get(), ".", O_DIRECTORY);
  std::vector<std::string> names;
  const bool isRead =
      opened && ReadFolderNames(opened.get(), IsSidecarOrJournalEntryName, &names) == noErr;
  if (!isRead || !names.empty()) folders.NoteSidecar(folder);
  NoteListed(folder, std::any_of(names.begin(), names.end(), IsJournalEntryName));
}

bool HasOrphanedSidecar(uint32_t folder, const std::string& name) {
  FolderTable& folders = Catalog::Get().folders();
  if (!folders.HasAnySidecars()) return false;
  ScanForSidecars(folder);
  FolderHandle handle;
  if (!folders.HasSidecars(folder) || folders.Open(folder, &handle) != noErr) return false;
  return faccessat(handle->get(), SidecarName(name).c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace tessary
