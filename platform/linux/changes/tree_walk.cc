#include "platform/linux/changes/tree_walk.h"

#include <fcntl.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/changes/folder_chain.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// Holds the state of each level itself: a recursion would overflow the stack on a deep tree.
class TreeWalk {
 public:
  TreeWalk(int top, TreeVisitor& visitor) : visitor_(visitor), chain_(top) {}

  Status Run() {
    if (const Status status = ReadObjectInfo(chain_.fd(), "", &top_)) return status;
    if (const Status status = PushLevel({}, top_)) return status;
    while (levels_.size() > 1 || levels_.back().next < levels_.back().names.size()) {
      Level& level = levels_.back();
      const Status status =
          level.next < level.names.size() ? Visit(std::move(level.names[level.next++])) : Leave();
      if (status != noErr) return status;
    }
    return noErr;
  }

 private:
  struct Level {
    std::string name;
    struct statx info = {};
    std::vector<std::string> names;
    size_t next = 0;
  };

  // Reads all names of the innermost folder before any is visited: getdents may skip or repeat
  // entries of a folder that changes meanwhile, as it does when the visitor deletes them.
  Status PushLevel(std::string name, const struct statx& info) {
    Level level{std::move(name), info, {}, 0};
    const Status status = ReadFolderNames(chain_.fd(), nullptr, &level.names);
    if (status == noErr) levels_.push_back(std::move(level));
    return status;
  }

  Status Visit(std::string name) {
    struct statx info = {};
    if (const Status status = ReadObjectInfo(chain_.fd(), name.c_str(), &info)) return status;
    // A mount is not part of the item, and could not be deleted with it.
    if (IsOnOtherMount(info, top_)) return diffVolErr;
    if (!S_ISDIR(info.stx_mode)) return visitor_.VisitObject(chain_.fd(), name.c_str(), info);

    UniqueFd opened;
    Status status = visitor_.OpenFolder(chain_.fd(), name.c_str(), info, &opened);
    if (status != noErr) return status;
    // Another folder may have got the name between the stat and the open.
    if (!IsNameOf(opened.get(), "", Identity::Of(info))) return fnfErr;
    status = visitor_.EnterFolder(chain_.fd(), name.c_str(), info, opened.get());
    if (status != noErr) return status;
    chain_.Push(std::move(opened), Identity::Of(info));
    return PushLevel(std::move(name), info);
  }

  Status Leave() {
    const Level level = std::move(levels_.back());
    levels_.pop_back();
    UniqueFd left;
    if (const Status status = chain_.Pop(&left)) return status;
    return visitor_.LeaveFolder(chain_.fd(), level.name.c_str(), level.info, left.get());
  }

  TreeVisitor& visitor_;
  FolderChain chain_;
  struct statx top_ = {};
  std::vector<Level> levels_;
};

}  // namespace

Status TreeVisitor::OpenFolder(int folder, const char* name, const struct statx& /*info*/,
                               UniqueFd* opened) {
  *opened = OpenWithoutAtime(folder, name, O_DIRECTORY | O_NOFOLLOW);
  return *opened ? noErr : LastError();
}

Status TreeVisitor::EnterFolder(int /*folder*/, const char* /*name*/, const struct statx& /*info*/,
                                int /*opened*/) {
  return noErr;
}

Status TreeVisitor::LeaveFolder(int /*folder*/, const char* /*name*/, const struct statx& /*info*/,
                                int /*left*/) {
  return noErr;
}

Status WalkTree(int top, TreeVisitor& visitor) { return TreeWalk(top, visitor).Run(); }

}  // namespace tessary
