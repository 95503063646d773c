#pragma once

#include <functional>
#include <string>

#include "platform/managers/file_manager.h"

// What the engine needs of the shell above it. Start-up supplies it; whatever is not supplied is
// simply not called.
namespace tessary {

// What became of one item of a run. A run by date files an item in two steps and tells of it when
// it has reached its day folder or will not.
enum class ItemOutcome {
  kFiled,           // moved or copied into its key folder
  kFailed,          // could not be filed; the log names it
  kFailedUnlogged,  // could not be filed, and the log does not name it
  kSkipped,         // has no key, or lay in its key folder already

  // A folder whose items a run would have filed, had it been able to list them. Told each time that
  // it is tried: for its subfolders, and for its own files.
  kFolderNotListed,

  // Failed and passed over, of an item that a run by date found in a year folder and that stays
  // there. The run comes by there once for every folder that it visits, and tells of it each time.
  kFailedInYearFolder,
  kFailedUnloggedInYearFolder,
  kSkippedInYearFolder,
};

struct EngineHooks {
  // Shows a text to the user, 1 as the target naming the status line.
  std::function<void(const std::string& text, int target)> showProgressText = nullptr;

  // Starts a run on a source that ResolveRunSource has decided on.
  std::function<void(const FSRef& source)> runAggregation = nullptr;

  // Told of each item once its fate is known. `path` is the item's POSIX path before it was filed,
  // empty where it has none.
  std::function<void(const std::string& path, ItemOutcome outcome)> observeItem = nullptr;
};

// Supplies the hooks, replacing those supplied before. Called by start-up and, for the observer, by
// the program's front.
void SetEngineHooks(EngineHooks hooks);

// The hooks supplied last.
const EngineHooks& GetEngineHooks();

// Show a text, start a run, tell of an item: through the hooks, doing nothing where there is none.
void ReportProgressText(const std::string& text, int target);
void StartRun(const FSRef& source);
void ObserveItem(const std::string& path, ItemOutcome outcome);

}  // namespace tessary
