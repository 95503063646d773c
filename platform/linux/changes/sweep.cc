#include "platform/linux/changes/sweep.h"

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
#include "platform/linux/catalog/sidecars.h"
#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/hidden_name.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/pair_mending.h"
#include "platform/linux/changes/publish.h"
#include "platform/linux/quiet_open.h"

namespace tessary {
namespace {

struct SweptFolders {
  std::mutex mutex;
  std::set<std::tuple<uint32_t, uint64_t, uint64_t>> identities;
};

// True the first time it is asked about a folder.
bool IsFirstUse(const Identity& folder) {
  static SweptFolders gSwept;
  const std::lock_guard lock(gSwept.mutex);
  return gSwept.identities.insert({folder.device, folder.inode, folder.birth}).second;
}

bool IsLeftoverName(std::string_view name) { return IsHiddenName(name) || IsPairRecordName(name); }

void SweepTree(int folder, const char* name, int leftover, const Identity& identity) {
  std::string ownName;
  if (MakeHiddenName(&ownName) != noErr) return;
  if (RenameWithoutReplacing(folder, name, folder, ownName.c_str()) != noErr) return;
  if (!IsNameOf(folder, ownName.c_str(), identity)) return;
  bool hasBegun = false;
  // What cannot be deleted is left.
  (void)DeleteTree(folder, ownName.c_str(), leftover, &hasBegun);
}

void SweepLeftover(int folder, const char* name) {
  struct statx info = {};
  if (ReadObjectInfo(folder, name, &info) != noErr) return;
  if (!S_ISREG(info.stx_mode) && !S_ISDIR(info.stx_mode)) return;
  const UniqueFd leftover(
      openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!leftover || !IsNameOf(leftover.get(), "", Identity::Of(info))) return;
  if (TakeHiddenLock(leftover.get()) != noErr) return;
  // Between the look and the lock its maker may have published it.
  if (!IsNameOf(folder, name, Identity::Of(info))) return;
  if (S_ISDIR(info.stx_mode)) {
    SweepTree(folder, name, leftover.get(), Identity::Of(info));
  } else {
    unlinkat(folder, name, 0);
  }
}

}  // namespace

void SweepFolder(int folder) {
  const UniqueFd opened = OpenQuietly(folder, ".", O_DIRECTORY);
  if (!opened) return;
  std::vector<std::string> names;
  if (ReadFolderNames(opened.get(), IsLeftoverName, &names) != noErr) return;
  if (std::any_of(names.begin(), names.end(), IsPairRecordName)) MendPairs(opened.get());
  for (const std::string& name : names) {
    if (IsHiddenName(name)) SweepLeftover(opened.get(), name.c_str());
  }
}

void SweepFolderOnce(int folder, const Identity& identity) {
  if (IsFirstUse(identity)) SweepFolder(folder);
}

}  // namespace tessary
