#include "platform/linux/changes/folder_chain.h"

#include <fcntl.h>

#include <utility>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/descriptors/descriptor_limit.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/errors.h"

namespace tessary {

void FolderChain::Push(UniqueFd folder, const Identity& identity) {
  constexpr size_t kUsualLevels = 32;
  // A copy walks two chains, and the catalog holds folders open as well.
  constexpr size_t kShares = 8;
  const size_t heldLevels = DescriptorBudget(kUsualLevels, kShares);
  if (levels_.size() >= heldLevels) levels_[levels_.size() - heldLevels].folder.Reset();
  levels_.push_back({std::move(folder), identity});
}

Status FolderChain::Pop(UniqueFd* left) {
  UniqueFd folder = std::move(levels_.back().folder);
  levels_.pop_back();
  if (!levels_.empty() && !levels_.back().folder) {
    // Another program can have moved the folder while the walk was below it. Its ".." is then some
    // other folder, in which the walk must not go on.
    UniqueFd parent = OpenWithoutAtime(folder.get(), "..", O_DIRECTORY | O_NOFOLLOW);
    if (!parent) return LastError();
    if (!IsNameOf(parent.get(), "", levels_.back().identity)) return fBsyErr;
    levels_.back().folder = std::move(parent);
  }
  *left = std::move(folder);
  return noErr;
}

}  // namespace tessary
