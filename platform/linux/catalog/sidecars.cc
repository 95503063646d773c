#include "platform/linux/catalog/sidecars.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/quiet_open.h"

namespace tessary {
namespace {

bool IsOfInterest(std::string_view name) { return IsSidecarName(name) || IsPairRecordName(name); }

}  // namespace

bool IsPairRecordName(std::string_view name) {
  constexpr size_t kUuidSize = 36;
  return name.size() == kPairRecordPrefix.size() + kUuidSize && name.starts_with(kPairRecordPrefix);
}

void NoteListed(uint32_t folder, bool hasRecord) {
  Catalog& catalog = Catalog::Get();
  catalog.folders().NoteListed(folder);
  if (!hasRecord) return;
  // The sidecar that comes back was not there to be seen.
  catalog.folders().NoteSidecar(folder);
  FolderHandle handle;
  if (catalog.folders().Open(folder, &handle) == noErr) catalog.MendPairs(handle->get());
}

void LookForSidecars(uint32_t folder) {
  FolderTable& folders = Catalog::Get().folders();
  FolderHandle handle;
  if (folders.IsListed(folder) || folders.Open(folder, &handle) != noErr) return;
  const UniqueFd opened = OpenQuietly(handle->get(), ".", O_DIRECTORY);
  std::vector<std::string> names;
  const bool isRead = opened && ReadFolderNames(opened.get(), IsOfInterest, &names) == noErr;
  if (!isRead || !names.empty()) folders.NoteSidecar(folder);
  NoteListed(folder, std::any_of(names.begin(), names.end(), IsPairRecordName));
}

bool IsSidecarWaiting(uint32_t folder, const std::string& name) {
  FolderTable& folders = Catalog::Get().folders();
  if (!folders.HasAnySidecars()) return false;
  LookForSidecars(folder);
  FolderHandle handle;
  if (!folders.HasSidecars(folder) || folders.Open(folder, &handle) != noErr) return false;
  return faccessat(handle->get(), SidecarName(name).c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace tessary
