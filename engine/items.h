#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/managers/file_manager.h"

// The items of a folder and their properties, as a run needs them.
namespace tessary {

// Lists the files of a folder in listing order: everything except plain folders, so packages and
// unreadable items too. Returns none if there are no files or the folder cannot be listed.
// `*status`, if not null, is always written: why the folder cannot be listed, or noErr. A run
// treats such a folder like an empty one, but reports it to its observer.
std::optional<std::vector<FSRef>> ListFolderFiles(const FSRef& folder, Status* status = nullptr);

// Lists all children of a folder in listing order. Returns none if there are no children or the
// folder cannot be listed. `*status` as above.
std::optional<std::vector<FSRef>> CopyFolderItems(const FSRef& folder, Status* status = nullptr);

// Returns true for an item that is never filed and never entered: a file with the invisible flag,
// or any item whose name begins with ".". The invisible flag of a folder is ignored.
bool IsHiddenItem(const FSRef& item);

// Returns why the item has no name, URL or path: the status of examining it again. bdNamErr if it
// can be read now: then its path is too long, or it was missing for a moment only.
Status WhyUnreadable(const FSRef& item);

// Returns the item's name in the catalog, or none if it cannot be read.
std::optional<std::u16string> GetItemNameString(const FSRef& item);

}  // namespace tessary
