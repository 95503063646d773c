#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_metadata.h"
#include "platform/managers/status.h"

namespace tessary {

// The object to copy or move: its name in an open folder, and the identity that it must have. The
// descriptor is borrowed.
struct CopySource {
  int folder = -1;
  std::string name;
  Identity identity;
  // The name under which a moved file or link is staged for deletion. Empty: one with a new UUID.
  std::string stagedName = {};
  // The result of a recent stat, if there is one. It saves a stat of a regular file, whose identity
  // is checked when it is opened. Any other object is stat'ed again before it is opened.
  std::optional<struct statx> knownStat = {};
};

// The name of the copy in an open folder, and the identity of that folder. The descriptor is
// borrowed.
struct CopyTarget {
  int folder = -1;
  std::string name;
  Identity identity;
};

// Returns noErr if `name` can be the name of an item, otherwise bdNamErr: for "", ".", ".." and
// names with a slash or NUL, which would lead out of the folder.
Status CheckItemName(const std::string& name);

// Finds the source and checks its identity and kind. `*info` is written on success only.
// Errors: bdNamErr; fnfErr (no such object, or one of another identity); paramErr (not a file,
// folder or link); otherwise the status of the failed system call.
Status FindSource(const CopySource& source, struct statx* info);

// Copies a file, a link or a folder with everything in it. The copy appears under its name
// complete, and never replaces an existing object. The item's own comment is left out. On failure
// nothing is left behind.
// Errors: bdNamErr; dupFNErr (the name exists); fnfErr (no such source, or one of another
// identity); paramErr (not a file, folder or link, or a folder with another kind of object inside);
// badMovErr (a folder into itself); diffVolErr (a folder with a mount inside); fBsyErr (the source
// keeps changing); memFullErr; otherwise the status of the failed system call.
Status CopyItem(const CopySource& source, const CopyTarget& target);

// Copies the item in the given role, publishes the copy and hands it to the caller, who may still
// roll it back. `*copied` is written on success only. Errors: those of CopyItem.
Status PublishCopy(const CopySource& source, const CopyTarget& target, CopyRole role,
                   CopiedItem* copied);

// Copies and publishes a small regular file in the role kCopiedItem, for callers that have stat'ed
// neither name: the source is identified by opening it, and an existing target name is found before
// anything is copied. `*copied` must be empty; it is unspecified on failure.
// Errors: those of CopyItem; paramErr also for a file of more than 1 MiB, unless a copy of it is
// prepared (copy_ahead.h).
Status PublishSmallCopy(const CopySource& source, const CopyTarget& target, CopiedItem* copied);

}  // namespace tessary
