#pragma once

#include "platform/managers/status.h"

// Gives an object a name without ever replacing an existing object, and without a moment in which
// the object has no name.
namespace tessary {

// Renames (`fromFolder`, `fromName`) to (`toFolder`, `toName`), both in open folders. Atomic where
// the filesystem supports RENAME_NOREPLACE; otherwise see rename_fallbacks.h. On failure both names
// are as they were.
// Errors: dupFNErr (the name exists); diffVolErr (the kernel cannot rename between the two);
// badMovErr (a folder into itself); bdNamErr (a name that the filesystem refuses); otherwise the
// status of the failed system call.
Status RenameWithoutReplacing(int fromFolder, const char* fromName, int toFolder,
                              const char* toName);

// Gives the open file, anonymous or named, the name (`toFolder`, `toName`).
// Errors: dupFNErr (the name exists); paramErr (the filesystem has no hard links, or does not allow
// this one); bdNamErr (a name that it refuses); otherwise the status of the failed system call.
Status LinkOpenFile(int file, int toFolder, const char* toName);

}  // namespace tessary
