#pragma once

#include <sys/stat.h>

#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

namespace tessary {

// What is done at each object of a tree. Every name is that of an object in a folder held by
// descriptor; a status other than noErr ends the walk and becomes its result.
class TreeVisitor {
 public:
  TreeVisitor() = default;
  TreeVisitor(const TreeVisitor&) = delete;
  TreeVisitor& operator=(const TreeVisitor&) = delete;
  virtual ~TreeVisitor() = default;

  // An object that is no folder.
  virtual Status VisitObject(int folder, const char* name, const struct statx& info) = 0;

  // Opens a folder for reading, without following a link.
  virtual Status OpenFolder(int folder, const char* name, const struct statx& info,
                            UniqueFd* opened);

  // Before what is in a folder; `opened` is that folder.
  virtual Status EnterFolder(int folder, const char* name, const struct statx& info,
                             int opened) = 0;

  // After what is in a folder; `left` is that folder and `folder` its parent.
  virtual Status LeaveFolder(int folder, const char* name, const struct statx& info, int left) = 0;
};

// Visits everything below the folder open for reading as `top`, but not the top itself, in the
// order of the names' bytes, each folder before and after what is in it. Links are never followed.
// A tree of any depth takes a bounded number of descriptors and no stack. noErr; diffVolErr
// (another volume is mounted inside); fnfErr or fBsyErr (an object was replaced or moved
// meanwhile); else what the visitor or the file system reports.
Status WalkTree(int top, TreeVisitor& visitor);

}  // namespace tessary
