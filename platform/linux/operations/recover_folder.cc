#include <cstdint>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/temp_cleanup.h"
#include "platform/managers/file_manager.h"

namespace tessary {

void FSRecoverFolder(const FSRef& folder) {
  uint32_t number = 0;
  FolderHandle handle;
  if (Catalog::Get().OpenFolder(ReferenceOf(folder), &number, &handle) != noErr) return;
  if (Catalog::Get().folders().MayHaveStaleTempFiles(number)) CleanUpFolder(handle->get());
}

}  // namespace tessary
