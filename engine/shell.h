#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/file_manager.h"

// Hooks through which the engine calls the layers above it. The program fills in the hooks that it
// needs; the others are not called.
namespace tessary {

// What became of one item of a run.
enum class ItemOutcome {
  kFiled,             // moved or copied into its key folder
  kSkipped,           // has no key, or was already in its key folder
  kNotRead,           // failed: the item cannot be read
  kNoKeyFolder,       // failed: its key folder cannot be looked up or created
  kNotTransferred,    // failed: it cannot be moved or copied
  kCommentNotCopied,  // failed: it was moved or copied, but its comment could not be written

  // A folder of the source or, in a run by date, of the destination that cannot be read, so that
  // its items are not filed. Reported for each attempt: one for its subfolders, one for its files.
  kFolderNotListed,

  // A source on which no run starts: an application without a readable resources folder.
  kNoRun,
};

// Returns true for the outcomes that say why something was not done.
bool IsFailure(ItemOutcome outcome);

// A run by date files an item in two steps: into its year folder, and from there, together with
// everything else that is directly in the destination's folders, into its day folder. Each step
// reports the item, under the path that it has then.
enum class FilingStep {
  kOnly,  // of a run by another kind

  // From the source into the year folder. An item that this step skips or fails is not reported by
  // the other one, unless it was in a folder of the destination already.
  kYear,

  // From the year folder into the day folder. Also reports items that were there before the run.
  // The run lists the year folders once for each source folder that it visits, so that an item that
  // stays in one is reported repeatedly.
  kDay,
};

// The report of one item, or of a folder or source that could not be read. The texts are valid
// during the call only.
struct ItemReport {
  std::string_view path;             // before it was filed; empty if memory is exhausted
  std::string_view folderPath = {};  // of its key folder, which need not exist; empty if unknown
  std::u16string_view newName = {};  // in the key folder; empty if it is not there
  ItemOutcome outcome = ItemOutcome::kFiled;
  FilingStep step = FilingStep::kOnly;
  bool isCopy = false;     // copied or to be copied; false for items that are not transferred
  Status status = noErr;   // why it failed; noErr if it did not
  Status replace = noErr;  // why the existing item of its name could not be deleted as the settings
                           // say, so that this item got a distinct name; else noErr
  std::optional<uint64_t> size = {};  // in bytes (CopyItemSize), before it was filed; none if it
                                      // cannot be read, or EngineHooks::wantsSizes is not set
};

// Returns the POSIX path of the item in its key folder; empty if it is not there.
std::string NewPathOf(const ItemReport& report);

// All hooks are called on the thread of the run.
struct EngineHooks {
  // Shows a progress text to the user. `target` is always 1, the status line.
  std::function<void(const std::string& text, int target)> showProgressText = nullptr;

  // Starts a run on the source that ResolveRunSource has found.
  std::function<void(const FSRef& source)> runAggregation = nullptr;

  // Receives the report of each item.
  std::function<void(const ItemReport& report)> observeItem = nullptr;

  // Whether the reports need the sizes of the items. Those of packages are costly.
  bool wantsSizes = false;
};

// Replaces all hooks.
void SetEngineHooks(EngineHooks hooks);

const EngineHooks& GetEngineHooks();

// Calls the hook `observeItem` if there is one.
void ObserveItem(const ItemReport& report);

}  // namespace tessary
