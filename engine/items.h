#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/managers/file_manager.h"

// The items of a folder and their properties, as a run needs them.
namespace tessary {

// Lists the files of a folder in listing order: everything except plain folders, so packages and
// unreadable items too. Returns none if there are no files or the folder cannot be listed.
// `*isListed`, if not null, tells the two cases apart and is always written: a run treats a folder
// that cannot be listed like an empty one, but reports it to its observer.
std::optional<std::vector<FSRef>> ListFolderFiles(const FSRef& folder, bool* isListed = nullptr);

// Lists all children of a folder in listing order. Returns none if there are no children or the
// folder cannot be listed. `*isListed` as above.
std::optional<std::vector<FSRef>> CopyFolderItems(const FSRef& folder, bool* isListed = nullptr);

// Returns true for an item that is never filed and never entered: a file with the invisible flag,
// or any item whose name begins with ".". The invisible flag of a folder is ignored.
bool IsHiddenItem(const FSRef& item);

// Returns the item's name in the catalog, or none if it cannot be read.
std::optional<std::u16string> GetItemNameString(const FSRef& item);

}  // namespace tessary
