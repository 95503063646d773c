#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/managers/file_manager.h"

// What a run asks about the items that it meets.
namespace tessary {

// The files of a folder, packages and whatever cannot be read among them, in listing order; none
// when there are none or the folder cannot be listed. One that changes meanwhile is listed once
// more. A run takes a folder that cannot for an empty one and tells only its observer, for which
// `*isListed`, where it is given, keeps the two apart; it is written always.
std::optional<std::vector<FSRef>> ListFolderFiles(const FSRef& folder, bool* isListed = nullptr);

// All children of a folder, in listing order; none when there are none or it cannot be listed.
// `*isListed` as above.
std::optional<std::vector<FSRef>> CopyFolderItems(const FSRef& folder, bool* isListed = nullptr);

// True for what is never filed nor entered: a file with the invisible flag, and whatever has a name
// that begins with ".". A folder's invisible flag hides nothing.
bool IsHiddenItem(const FSRef& item);

// The item's name, or none where it cannot be told.
std::optional<std::u16string> GetItemNameString(const FSRef& item);

}  // namespace tessary
