#include "platform/linux/catalog/sidecar_lookup.h"

#include <fcntl.h>

#include <string>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/mac_formats/apple_double.h"

namespace tessary {

void ScanForSidecars(uint32_t folder) {
  FolderTable& folders = Catalog::Get().folders();
  FolderHandle handle;
  if (folders.IsListed(folder) || folders.Open(folder, &handle) != noErr) return;
  const UniqueFd opened = OpenWithoutAtime(handle->get(), ".", O_DIRECTORY);
  std::vector<std::string> names;
  const bool isRead = opened && ReadFolderNames(opened.get(), IsSidecarName, &names) == noErr;
  if (!isRead || !names.empty()) folders.NoteSidecar(folder);
  folders.NoteListed(folder);
}

}  // namespace tessary
