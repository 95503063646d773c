#pragma once

#include <string>
#include <vector>

namespace tessary {

// Recovers the operations that crashed processes left unfinished in the folder open as `folder`,
// whose journal entries (sidecar_journal.h) have the names `entryNames`. `path` is the folder's
// path, for the log.
//
// Entries that are in use, that belong to another user or are not regular files are left alone. An
// entry that cannot be finished is left and logged, in one line. Nothing is ever replaced, and
// nothing is deleted except what the operation was to delete or had created. An entry leads to one
// other folder at most, and only to the entry of the same name there, so that crafted entries
// cannot cost more than a fixed number of system calls each.
void RecoverSidecars(int folder, const std::string& path,
                     const std::vector<std::string>& entryNames);

}  // namespace tessary
