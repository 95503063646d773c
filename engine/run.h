#pragma once

#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"

// A run: every file of a source folder goes into the destination's folder for its key. Nothing ends
// a run early: what fails is told to the observer, most of it to the log as well, and the run goes
// on. Settings are read where they are needed, so that a change made meanwhile takes effect in the
// same run.
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
// folder there, whoever made it, into its day folders, the latter always by moving.
void AggregateByDate(const FSRef& folder, const FSRef& destination, DateAttribute attribute,
                     bool copy);

enum class DateLevel { kYear, kDay };

// One of the two passes of AggregateByDate. A null destination means the folder itself.
void AggregateByDateLevel(const FSRef& folder, const FSRef* destination, DateAttribute attribute,
                          DateLevel level, bool copy);

}  // namespace tessary
