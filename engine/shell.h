#pragma once

#include <functional>
#include <string>

#include "platform/managers/file_manager.h"

// Hooks through which the engine calls the layers above it. The program fills in the hooks that it
// needs; the others are not called.
namespace tessary {

// What became of one item of a run. A run by date files an item in two steps, year and day, and
// reports it when it is in its day folder or when it is clear that it will not get there.
enum class ItemOutcome {
  kFiled,           // moved or copied into its key folder
  kFailed,          // not filed; the log names the item
  kFailedUnlogged,  // not filed; the log does not name the item
  kSkipped,         // has no key, or was already in its key folder

  // A folder that cannot be listed, so that its items are not filed. Reported for each attempt: one
  // for its subfolders, one for its own files.
  kFolderNotListed,

  // The outcomes above for an item that a run by date finds in a year folder and that stays there.
  // The run lists the year folders once for each source folder that it visits, and reports such an
  // item each time.
  kFailedInYearFolder,
  kFailedUnloggedInYearFolder,
  kSkippedInYearFolder,
};

// All hooks are called on the thread of the run.
struct EngineHooks {
  // Shows a progress text to the user. `target` is always 1, the status line.
  std::function<void(const std::string& text, int target)> showProgressText = nullptr;

  // Starts a run on the source that ResolveRunSource has found.
  std::function<void(const FSRef& source)> runAggregation = nullptr;

  // Receives the outcome of each item. `path` is the item's POSIX path before it was filed, or
  // empty if it has none.
  std::function<void(const std::string& path, ItemOutcome outcome)> observeItem = nullptr;
};

// Replaces all hooks.
void SetEngineHooks(EngineHooks hooks);

const EngineHooks& GetEngineHooks();

// Calls the hook `observeItem` if there is one.
void ObserveItem(const std::string& path, ItemOutcome outcome);

}  // namespace tessary
