#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "platform/linux/catalog/reference.h"
#include "platform/managers/status.h"

namespace tessary {

// The object to copy: its name in a folder held by descriptor, and the identity that it must have.
// What is moved may bear another name while it is deleted, `aside`, or one that nobody knows.
struct CopySource {
  int folder = -1;
  std::string name;
  Identity identity;
  std::string stagedName = {};
  // What it was found to be a moment ago. A file is then opened at once, which shows whether it
  // still is; anything else is looked at again, as it might not bear to be opened.
  std::optional<struct statx> knownStat = {};
};

// Where the copy goes: a name in a folder held by descriptor, and that folder's identity.
struct CopyTarget {
  int folder = -1;
  std::string name;
  Identity identity;
};

// Copies a file, a link or a folder with everything in it, less the item's own comment. The copy is
// complete before it bears its name, and what bears that name already is never touched.
// noErr, dupFNErr, fnfErr (the object is not the one named by its identity), paramErr (no file,
// folder or link), badMovErr (a folder into itself), diffVolErr (a folder in which another volume
// is mounted), fBsyErr (the object keeps changing), bdNamErr, else what the file system reports. On
// failure nothing is left behind.
Status CopyItem(const CopySource& source, const CopyTarget& target);

// Moves the same kinds of object to another volume: copies with the comment, makes the copy
// durable, checks that the source is still what was copied, and deletes it. The statuses are those
// of CopyItem, fBsyErr also where another program writes the source or has changed it since it was
// copied; in addition afpAccessDenied and wPrErr when the source could not be deleted, told
// before anything is copied where that can be known. On failure the source is where it was and no
// copy is left behind; only where its name was taken when it had been put aside to be deleted, it
// keeps the name that it had then, which is logged, and the copy stays.
Status MoveItemAcrossFilesystems(const CopySource& source, const CopyTarget& target);

}  // namespace tessary
