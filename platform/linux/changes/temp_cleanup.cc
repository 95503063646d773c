#include "platform/linux/changes/temp_cleanup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/deletion_record.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {
namespace {

// The folder is renamed before anything in it is deleted. Should the owner be alive after all, on a
// filesystem whose locks do not work, it can then no longer publish the folder half deleted.
void DeleteStaleTree(int folder, const char* name, int staleItem, const Identity& identity) {
  std::string newName;
  if (MakeTempName(&newName) != noErr) return;
  if (RenameWithoutReplacing(folder, name, folder, newName.c_str()) != noErr) return;
  if (!IsNameOf(folder, newName.c_str(), identity)) return;
  bool hasBegun = false;
  // What cannot be deleted is left to a later run.
  (void)DeleteTree(folder, newName.c_str(), staleItem, &hasBegun);
}

}  // namespace

void DeleteStaleTempItem(int folder, const std::string& name) {
  struct statx info = {};
  if (ReadObjectInfo(folder, name.c_str(), &info) != noErr) return;
  if (!S_ISREG(info.stx_mode) && !S_ISDIR(info.stx_mode)) return;
  const Identity identity = Identity::Of(info);
  const UniqueFd staleItem(
      openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!staleItem || !IsNameOf(staleItem.get(), "", identity)) return;
  if (TryFileLock(staleItem.get()) != noErr) return;
  // Its owner may have published it and released the lock since the first check.
  if (!IsNameOf(folder, name.c_str(), identity)) return;
  if (S_ISDIR(info.stx_mode)) {
    DeleteStaleTree(folder, name.c_str(), staleItem.get(), identity);
  } else if (FinishRecordedDeletion(folder, staleItem.get(), info)) {
    unlinkat(folder, name.c_str(), 0);
  }
}

}  // namespace tessary
