#include "platform/linux/changes/temp_cleanup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/sidecars/sidecar_recovery.h"

namespace tessary {
namespace {

struct CleanedFolders {
  std::mutex mutex;
  std::set<std::tuple<uint32_t, uint64_t, uint64_t>> identities;
};

// True the first time it is asked about a folder.
bool IsFirstUse(const Identity& folder) {
  static CleanedFolders gCleaned;
  const std::lock_guard lock(gCleaned.mutex);
  return gCleaned.identities.insert({folder.device, folder.inode, folder.birth}).second;
}

bool IsTempOrJournalEntryName(std::string_view name) {
  return IsTempName(name) || IsJournalEntryName(name);
}

void DeleteStaleTree(int folder, const char* name, int staleItem, const Identity& identity) {
  std::string ownName;
  if (MakeTempName(&ownName) != noErr) return;
  if (RenameWithoutReplacing(folder, name, folder, ownName.c_str()) != noErr) return;
  if (!IsNameOf(folder, ownName.c_str(), identity)) return;
  bool hasBegun = false;
  // What cannot be deleted is left.
  (void)DeleteTree(folder, ownName.c_str(), staleItem, &hasBegun);
}

void DeleteStaleItem(int folder, const char* name) {
  struct statx info = {};
  if (ReadObjectInfo(folder, name, &info) != noErr) return;
  if (!S_ISREG(info.stx_mode) && !S_ISDIR(info.stx_mode)) return;
  const UniqueFd staleItem(
      openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!staleItem || !IsNameOf(staleItem.get(), "", Identity::Of(info))) return;
  if (TryFileLock(staleItem.get()) != noErr) return;
  // Between the look and the lock its maker may have published it.
  if (!IsNameOf(folder, name, Identity::Of(info))) return;
  if (S_ISDIR(info.stx_mode)) {
    DeleteStaleTree(folder, name, staleItem.get(), Identity::Of(info));
  } else {
    unlinkat(folder, name, 0);
  }
}

}  // namespace

void CleanUpFolder(int folder) {
  const UniqueFd opened = OpenWithoutAtime(folder, ".", O_DIRECTORY);
  if (!opened) return;
  std::vector<std::string> names;
  if (ReadFolderNames(opened.get(), IsTempOrJournalEntryName, &names) != noErr) return;
  if (std::any_of(names.begin(), names.end(), IsJournalEntryName)) RecoverSidecars(opened.get());
  for (const std::string& name : names) {
    if (IsTempName(name)) DeleteStaleItem(opened.get(), name.c_str());
  }
}

void CleanUpFolderOnce(int folder, const Identity& identity) {
  if (IsFirstUse(identity)) CleanUpFolder(folder);
}

}  // namespace tessary
