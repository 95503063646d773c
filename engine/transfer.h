#pragma once

#include <optional>
#include <string>

#include "platform/managers/file_manager.h"

// Filing one item into its key folder.
namespace tessary {

// The usual move, by one rename: of an item that is no folder, as it was listed in `parent`, under
// its own name, which is free in `folder`. True when it is there, which includes one that lies
// there already; `*wasInPlace` tells that case apart and is written always. False, with nothing
// changed and nothing told, wherever anything else has to be done or has gone wrong: that is the
// affair of TransferItemAtPath. Called in the step in which the item was found valid, it takes no
// further look at it.
bool TryFastMove(const FSRef& item, const FSRef& parent, const FSRef& folder, bool* wasInPlace);

// The usual copy in the same way, of a small file.
bool TryFastCopy(const FSRef& item, const FSRef& parent, const FSRef& folder, bool* wasInPlace);

// Moves the item at `itemPath`, or copies it where `copy` is set, into the folder at `folderPath`.
// True on success, which includes an item that lies there already; `*wasInPlace`, where it is
// given, tells that case apart and is written always. On failure the item stays where it is, or,
// when only its comment could not be carried over, is in the folder without it. The log then has
// the status, but nothing of a comment or of an item that cannot be found: whoever calls tells of
// the failure in any case.
bool TransferItemAtPath(const std::string& itemPath, const std::string& folderPath, bool copy,
                        bool* wasInPlace = nullptr);

// The same on references. Makes way first: an item of the same name is deleted when the settings
// say so, otherwise the newcomer gets a distinct name. The item's comment is carried over when the
// settings say so and it has one. `*newItem` is written when the item was moved or copied. Answers
// the status of the move or copy, after that the one of writing the comment, the one with which the
// item's folder could not be told, or paramErr, touching nothing, when `newItem` is null. What was
// deleted to make way is gone also when the item then fails.
// `*wasInPlace` as above.
Status TransferItem(const FSRef& item, const FSRef& folder, FSRef* newItem, bool copy,
                    bool* wasInPlace = nullptr);

// Deletes the folder's item of the same name, when there is one and the settings say so. True when
// it was deleted. A folder or package that is not empty stays, and the log says so.
bool RemoveSameNamedItem(const FSRef& item, const FSRef& folder);

// The name under which the item can go into the folder when its own is taken: without the last "."
// and extension, " - ", a new UUID, "." and the extension. None when its own name is free, which it
// is not where a sidecar waits for whatever gets the name; none also where the item has no name or
// URL or no UUID is to be had, and the item is then tried under its own name. The result may be
// longer than a name can be.
std::optional<std::u16string> MakeDistinctName(const FSRef& folder, const FSRef& item);

}  // namespace tessary
