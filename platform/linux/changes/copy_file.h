#pragma once

#include <sys/stat.h>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_metadata.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

namespace tessary {

// Opens for reading the regular file (`folder`, `name`) of that identity, or finds that it is
// another object by now (fnfErr). No other kind of object waits for anybody here: a FIFO in its
// place is opened without blocking and refused. On success only, `*info` tells of the open file.
Status OpenSourceFile(int folder, const char* name, const Identity& identity, struct statx* info,
                      UniqueFd* opened);

// Makes the empty file open as `to`, of which `made` tells, a copy of the one open as `from`, of
// which `*info` tells. `*hasChanged` is whether that has changed since, so that the copy may hold
// some of the old and some of the new; `*info` is then what it has become. noErr, else what the
// file system reports.
Status FillFile(int from, int to, const struct statx& made, CopyRole role, struct statx* info,
                bool* hasChanged, bool* isAnyDropped);

// Copies the regular file open as `from`, of which `copied->source` tells, into the folder open as
// `toFolder`, under the name `toName`, which it gets when it is whole. A source that changes
// meanwhile is copied once more, and then given up (fBsyErr). noErr, dupFNErr, bdNamErr, else what
// the file system reports; `*copied` is of no use on failure.
Status CopyOpenFile(int from, int toFolder, const char* toName, CopyRole role, CopiedItem* copied);

}  // namespace tessary
