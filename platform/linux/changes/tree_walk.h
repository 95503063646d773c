#pragma once

#include <sys/stat.h>

#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

namespace tessary {

// The actions at each object of a tree. Each object is (`folder`, `name`) with its stat result
// `info`. A status other than noErr ends the walk and is its result.
class TreeVisitor {
 public:
  TreeVisitor() = default;
  TreeVisitor(const TreeVisitor&) = delete;
  TreeVisitor& operator=(const TreeVisitor&) = delete;
  virtual ~TreeVisitor() = default;

  // Called for an object that is not a folder.
  virtual Status VisitObject(int folder, const char* name, const struct statx& info) = 0;

  // Opens a folder for reading, without following a link.
  virtual Status OpenFolder(int folder, const char* name, const struct statx& info,
                            UniqueFd* opened);

  // Called for a folder, open as `opened`, before the objects in it. Does nothing by default.
  virtual Status EnterFolder(int folder, const char* name, const struct statx& info, int opened);

  // Called for a folder, open as `left`, after the objects in it. Does nothing by default.
  virtual Status LeaveFolder(int folder, const char* name, const struct statx& info, int left);
};

// Visits everything below the folder open for reading as `top`, but not `top` itself, in the byte
// order of the names. Never follows a link. Uses a bounded number of descriptors and no recursion,
// whatever the depth.
// Errors: diffVolErr (a mount inside); fnfErr or fBsyErr (an object was replaced or moved
// meanwhile); otherwise the status of the visitor or of the failed system call.
Status WalkTree(int top, TreeVisitor& visitor);

}  // namespace tessary
