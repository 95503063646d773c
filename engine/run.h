#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"

// A run: every file of a source folder goes into the destination's folder for its key. Nothing ends
// a run early; each problem is one log line and the run goes on.
namespace tessary {

// Files everything in `source` into `destination`; returns when every item has been handled.
void AggregateFolder(const FSRef& source, const FSRef& destination);

// Walks the folder: its plain subfolders first, when the settings say so, then its own files.
void WalkFolder(const FSRef& folder, const FSRef& destination);

// Files the folder's own files by the kind that the settings hold now; by none for an unknown kind.
void AggregateFolderItems(const FSRef& folder, const FSRef& destination);

// One pass over the files of a folder. A null destination means the folder itself.
void AggregateByExtension(const FSRef& folder, const FSRef* destination);
void AggregateByFileType(const FSRef& folder, const FSRef* destination);
void AggregateByMimeType(const FSRef& folder, const FSRef* destination);

// Files the folder's files into year folders of the destination, then the files of every plain
// folder there into its day folders, the latter always by moving.
void AggregateByDate(const FSRef& folder, const FSRef& destination, DateAttribute attribute,
                     bool copy);

enum class DateLevel { kYear, kDay };

// One of the two passes of AggregateByDate.
void AggregateByDateLevel(const FSRef& folder, const FSRef* destination, DateAttribute attribute,
                          DateLevel level, bool copy);

// The files of a folder, packages and whatever cannot be read among them, in listing order; none
// when there are none or the folder cannot be listed.
std::optional<std::vector<FSRef>> ListFolderFiles(const FSRef& folder);

// All children of a folder, in listing order; none when there are none or it cannot be listed.
std::optional<std::vector<FSRef>> CopyFolderItems(const FSRef& folder);

// True for what is never filed nor entered: a file with the invisible flag, and whatever has a name
// that begins with ".".
bool IsHiddenItem(const FSRef& item);

// The folder for a key: whatever bears the name in `parent`, else a folder made there. Answers noErr
// with the reference in `*folder`, or the status with which it could not be made. Where the name
// could not even be looked up the answer is noErr and the reference all zero.
Status GetOrCreateKeyFolder(const FSRef& parent, std::u16string_view name, FSRef* folder);

// The item's name, or none where it cannot be told.
std::optional<std::u16string> GetItemNameString(const FSRef& item);

}  // namespace tessary
