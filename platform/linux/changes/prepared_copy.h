#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/catalog/folder_table.h"
#include "platform/linux/catalog/reference.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_item.h"

namespace tessary {

// A file whose copy is to be prepared: a name in an open folder, and the identity of the object.
struct FileToPrepare {
  FolderHandle folder;
  std::string name;
  Identity identity;
};

// The copy of a file, complete but for its name: an anonymous file.
struct PreparedCopy {
  CopiedItem copied;
  int64_t madeAt = 0;  // in milliseconds, since some time in the past
};

// The outcome of preparing a copy.
enum class Preparation {
  kDone,
  kUnsuitable,  // this file cannot be copied, is being changed, or is not worth it
  kImpossible,  // no more copies can be prepared here: no anonymous files, no space, no memory
};

// The largest file that is copied ahead of its turn. A larger one would make an item that turns out
// not to be copied too expensive.
inline constexpr uint64_t kMaxPreparedSize = 8 << 20;

// Copies the file to an anonymous file in the open folder `toFolder`. Reports nothing, and uses
// nothing that belongs to one thread, so it may be called on any. `*prepared` is written with kDone
// only.
Preparation PrepareCopy(const FileToPrepare& file, int toFolder, PreparedCopy* prepared);

// Returns true if the copy, prepared for this source, is what copying it now would make: the source
// has its name and is unchanged, and the copy is only moments old. The age limits what a change
// could do that has no trace in the source's times, such as one through a mapping of the file.
bool IsUpToDate(const PreparedCopy& prepared, const CopySource& source);

}  // namespace tessary
