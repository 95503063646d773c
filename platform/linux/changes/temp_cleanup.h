#pragma once

#include "platform/linux/catalog/reference.h"

namespace tessary {

// Deletes from the folder open as `folder` what makers that died have left there: files and folders
// with a hidden name whose lock is free. Each is locked, then looked at again; a folder is first
// renamed to a hidden name of the sweeper's own, so that its maker, should it live after all behind
// a lock that does not work, can no longer publish it half deleted. What cannot be locked or
// deleted is left. What died between an item and its sidecar is mended (pair_mending.h). Nothing is
// reported: sweeping is a favour, not a condition.
void CleanUpFolder(int folder);

// The same, once in this process for each folder, told apart by their identities.
void CleanUpFolderOnce(int folder, const Identity& identity);

}  // namespace tessary
