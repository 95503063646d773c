#include "engine/classification.h"

#include "platform/managers/file_manager.h"
#include "platform/managers/launch_services.h"

namespace tessary {

bool IsApplicationItem(const FSRef& item) {
  LSItemInfoRecord info;
  if (LSCopyItemInfoForRef(item, kLSRequestBasicFlagsOnly, &info) != noErr) return false;
  return (info.flags & kLSItemInfoIsApplication) != 0;
}

bool IsPlainFolder(const FSRef& item, Status* status) {
  if (status != nullptr) *status = noErr;
  if (!FSMayBeFolder(item)) return false;
  LSItemInfoRecord info;
  const Status result = LSCopyItemInfoForRef(item, kLSRequestAllFlags, &info);
  if (status != nullptr) *status = result;
  if (result != noErr) return false;
  return (info.flags & (kLSItemInfoIsContainer | kLSItemInfoIsPackage)) == kLSItemInfoIsContainer;
}

}  // namespace tessary
