#pragma once

#include <string>

#include "platform/managers/status.h"

namespace tessary {

// The object `name` in the folder open as `folder`.
struct NamedObject {
  int folder = -1;
  std::string name;
};

// The functions below compare types, bytes, and the targets of links, but not modes, dates and
// attributes. They follow no link, use a bounded number of descriptors, and change nothing. They
// return noErr (the same contents); fBsyErr (other contents, or a special file); fnfErr (an object
// is missing); otherwise the status of the failed system call. A folder that is reached by both
// paths, through a bind mount, counts as other contents: deleting one would delete both.

// Compares two objects. Folders must contain the same names.
Status CompareContents(const NamedObject& first, const NamedObject& second);

// Compares everything in the folder open as `tree` with the object at the same place in the folder
// open as `copy`, which may contain more. There, names are as its filesystem stores them.
Status CompareWithCopy(int tree, int copy);

}  // namespace tessary
