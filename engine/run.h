#pragma once

#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"

// A run files every file of a source folder into the destination's folder for its key. No failure
// ends a run: each is reported to the observer, most of them also to the log, and the run goes on
// with the next item. Settings are read where they are needed, so that a change takes effect within
// the run.
namespace tessary {

// Files everything in `source` into `destination`. Returns when every item has been handled.
void AggregateFolder(const FSRef& source, const FSRef& destination);

// Files the contents of a folder: first its plain subfolders, if the settings say so, then its own
// files.
void WalkFolder(const FSRef& folder, const FSRef& destination);

// Files the folder's own files by the kind that is set now. Does nothing if the value is not a
// valid kind.
void AggregateFolderItems(const FSRef& folder, const FSRef& destination);

// Run one pass over the files of a folder. A null destination means the folder itself.
void AggregateByExtension(const FSRef& folder, const FSRef* destination);
void AggregateByFileType(const FSRef& folder, const FSRef* destination);
void AggregateByMimeType(const FSRef& folder, const FSRef* destination);

// Files the folder's files into year folders of the destination. Then files the files of every
// plain folder in the destination, including folders that this run did not create, into day folders
// inside it. The second step always moves.
void AggregateByDate(const FSRef& folder, const FSRef& destination, DateAttribute attribute,
                     bool copy);

enum class DateLevel { kYear, kDay };

// Runs one of the passes of AggregateByDate. A null destination means the folder itself.
void AggregateByDateLevel(const FSRef& folder, const FSRef* destination, DateAttribute attribute,
                          DateLevel level, bool copy);

}  // namespace tessary
