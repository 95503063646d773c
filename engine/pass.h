#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "engine/shell.h"
#include "platform/managers/file_manager.h"

// A pass files the files of one folder, each into the destination's folder for its key. This is the
// part that all kinds share; run.h has the kinds.
namespace tessary {

// The log line for memory exhaustion, after which the run continues. A constant, because building
// the line would need memory.
inline constexpr std::string_view kOutOfMemory = "An error occurred: -108";
static_assert(memFullErr == -108);

// The differences between passes.
struct PassRules {
  // Returns the key of an item, or none. Sets `*status` to the reason if there is no key because
  // the item could not be read; otherwise does not write it.
  std::function<std::optional<std::u16string>(const FSRef& item, Status* status)> copyKey;

  // Receives the progress text of an item before the item is transferred.
  std::function<void(const std::string& text)> reportProgress;

  // Returns whether to copy the item instead of moving it. Called for each item, after its progress
  // text.
  std::function<bool()> isCopyWanted;

  // Reported to the observer with each item.
  FilingStep step = FilingStep::kOnly;
};

// Runs the pass over the files of `folder`. A null destination means the folder itself.
void RunPass(const FSRef& folder, const FSRef* destination, const PassRules& rules);

// Reports a folder that cannot be read to the observer.
void ObserveUnlistedFolder(const FSRef& folder, Status status);

// Logs and reports that memory is exhausted, after which the run goes on with the next folder. The
// report has no path: making one would need memory.
void ReportFolderOutOfMemory();

// Finds the object with the name of a key in `parent`, of whatever kind, or creates a folder of
// that name. Returns noErr, paramErr if `folder` is null (nothing is touched), or the status of
// creating the folder. If the name cannot be looked up, returns noErr with an all-zero `*folder`.
Status GetOrCreateKeyFolder(const FSRef& parent, std::u16string_view name, FSRef* folder);

}  // namespace tessary
