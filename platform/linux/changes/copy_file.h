#pragma once

#include <sys/stat.h>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_metadata.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

namespace tessary {

// Opens the regular file (`folder`, `name`) for reading if it has that identity. Never blocks: a
// FIFO that has replaced the file is opened without waiting for a writer, and refused. `*info`, the
// stat result of the open file, and `*opened` are written on success only. The second function
// fails with afpAccessDenied if reading would change the access time, because the file belongs to
// another user.
// Errors: fnfErr (another object by now); otherwise the status of the failed system call.
Status OpenSourceFile(int folder, const char* name, const Identity& identity, struct statx* info,
                      UniqueFd* opened);
Status OpenSourceFileWithoutAtime(int folder, const char* name, const Identity& identity,
                                  struct statx* info, UniqueFd* opened);

// Copies contents and metadata of the open file `from` to the open empty file `to`; `*info` and
// `made` are their stat results. Sets `*hasChanged` to whether the source has changed since
// `*info`: the copy may then mix old and new contents, and `*info` is updated. `*isAnyDropped` is
// that of CopyMetadata. Errors: the status of the failed system call.
Status FillFile(int from, int to, const struct statx& made, CopyRole role, struct statx* info,
                bool* hasChanged, bool* isAnyDropped);

// Copies the open regular file `from`, whose stat result is `copied->source`, into the open folder
// `toFolder`. The copy gets the name `toName` when it is complete. If the source changes meanwhile,
// it is copied once more. `*copied` is unspecified on failure.
// Errors: dupFNErr; bdNamErr; fBsyErr (the source keeps changing); otherwise the status of the
// failed system call.
Status CopyOpenFile(int from, int toFolder, const char* toName, CopyRole role, CopiedItem* copied);

}  // namespace tessary
