#pragma once

#include <optional>
#include <string>

#include "engine/shell.h"
#include "platform/managers/file_manager.h"

// Moves or copies one item into its key folder.
namespace tessary {

// What a transfer did, for the report of the item (ItemReport has the meaning of the fields).
struct TransferResult {
  ItemOutcome outcome = ItemOutcome::kNotTransferred;
  std::u16string newName = {};
  Status status = noErr;
  Status replace = noErr;
};

// The fast path: transfers an item that is not a folder under its own name, by one rename or, if
// `copy` is set, as the copy of a small file. `parent` is the folder in which the item was listed.
// Returns true if the item is now in `folder` (kFiled), or was already (kSkipped). Returns false if
// the fast path does not apply or fails; then nothing has been changed, logged or written, and
// TransferItemAtPath does the transfer. Call it in the FSStatCacheScope in which the item was found
// valid: the item is not looked up again.
bool TryFastTransfer(const FSRef& item, const FSRef& parent, const FSRef& folder, bool copy,
                     TransferResult* result);

// Moves the item at `itemPath`, or copies it if `copy` is set, into the folder at `folderPath`.
// Returns true on success, also if the item is already in that folder. `*result`, if not null, is
// always written. On failure the item is where it was; if only its comment could not be written,
// it is in the folder, without the comment. The log then has the status, except for an item that
// does not exist and for a comment: the caller logs that the item failed.
bool TransferItemAtPath(const std::string& itemPath, const std::string& folderPath, bool copy,
                        TransferResult* result = nullptr);

// Transfers an item by reference. If its name exists in the folder, the existing item is deleted or
// the incoming item gets a distinct name, as the settings say; an item that was deleted is gone
// even if the transfer then fails. The comment is carried over if the settings say so.
// `*newItem` is written once the item has been moved or copied; `*result` as above.
// Returns noErr, the status of reading the item's parent, of the move or copy, or of writing the
// comment, or paramErr if `newItem` is null (nothing is touched).
Status TransferItem(const FSRef& item, const FSRef& folder, FSRef* newItem, bool copy,
                    TransferResult* result = nullptr);

// Deletes the folder's item of the same name if there is one and the settings say so. Returns true
// if it was deleted. A folder or package that is not empty stays, and the log has the reason.
// `*status`, if not null, is set to the reason if an item was to be deleted and could not be.
bool RemoveSameNamedItem(const FSRef& item, const FSRef& folder, Status* status = nullptr);

// Makes the name for an item whose own name is not free in the folder: the name without its last
// "." and extension, " - ", a new UUID, "." and the extension. The result may be longer than a name
// can be. Returns none if the item's own name is free, and that of its sidecar if it has one. Also
// returns none if the item has no name or URL, or if no UUID can be made; the transfer then uses
// the item's own name.
std::optional<std::u16string> MakeDistinctName(const FSRef& folder, const FSRef& item);

}  // namespace tessary
