#pragma once

#include <string>

namespace tessary {

// Deletes the stale temporary file or folder (`folder`, `name`), whose owner process has crashed:
// one whose lock is free (temp_item.h). If the file is the record of a deletion, finishes that
// first (deletion_record.h). `name` is a name of a temporary item (IsTempName). Leaves alone what
// is in use, what is neither a regular file nor a folder, and what cannot be deleted. Best effort:
// nothing is reported.
void DeleteStaleTempItem(int folder, const std::string& name);

}  // namespace tessary
