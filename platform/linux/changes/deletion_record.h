#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/linux/changes/temp_item.h"
#include "platform/managers/status.h"

// The record of a folder that is deleted in place.
//
// A folder in a lower layer of an overlay cannot be renamed, so that it cannot be staged: when its
// copy is complete, it is deleted under its own name. A record beside it says where the copy is. If
// the process crashes, recovery compares the rest of the folder with the copy and deletes it. If
// the copy is not there any more, recovery looks for it in the folders beside that place.
//
// A record is a temporary file (temp_item.h) that contains these fields, each followed by a zero
// byte:
//
//   tessary rest 1
//   name         of the folder that is deleted
//   copies       absolute path of the folder that contains the copy
//   copy         name of the copy
namespace tessary {

// Records that (`folder`, `name`) is about to be deleted, because (`copies`, `copy`) is its copy.
// The contents of the record are durable afterwards. It is removed when `*record` is destroyed.
// Errors: bdNamErr (the copy has no path, or a path that is too long); otherwise the status of the
// failed system call.
Status WriteDeletionRecord(int folder, const std::string& name, int copies, const std::string& copy,
                           TempItem* record);

// Finishes the deletion that a stale temporary file of `folder`, open as `file` with the stat
// result `info`, may describe: deletes the rest of the folder if everything in it is also in the
// copy, and with it a sidecar that the copy has, too. Returns true if the file is not needed any
// more: it is not a record, the deletion is finished, or the folder is not the rest of the copy.
bool FinishRecordedDeletion(int folder, int file, const struct statx& info);

}  // namespace tessary
