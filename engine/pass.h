#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "engine/shell.h"
#include "platform/managers/file_manager.h"

// A pass: the files of one folder, each into the destination's folder for its key. What all kinds
// have in common; run.h has the kinds.
namespace tessary {

// The line of the log about memory that has run out, which takes none to make. The run goes on
// with what is left.
inline constexpr std::string_view kOutOfMemory = "An error occurred: -108";
static_assert(memFullErr == -108);

// In what one pass differs from another.
struct PassRules {
  // The key of an item, or none. `*isUnknown` is set to true when what the key is made of could not
  // be read, and otherwise left alone.
  std::function<std::optional<std::u16string>(const FSRef& item, bool* isUnknown)> copyKey;

  // Takes the progress text of an item that is about to be transferred.
  std::function<void(const std::string& text)> reportProgress;

  // Whether that item is copied rather than moved. Asked anew for each, after its progress text.
  std::function<bool()> isCopyWanted;

  // What the observer is told of an item that was filed, lay in its key folder already, has no key,
  // or could not be filed, with or without the log naming it; nothing where there is none.
  std::optional<ItemOutcome> onFiled = ItemOutcome::kFiled;
  std::optional<ItemOutcome> onInPlace = ItemOutcome::kSkipped;
  std::optional<ItemOutcome> onNoKey = ItemOutcome::kSkipped;
  std::optional<ItemOutcome> onFailed = ItemOutcome::kFailed;
  std::optional<ItemOutcome> onUnlogged = ItemOutcome::kFailedUnlogged;
};

// Runs the pass over the files of `folder`. A null destination means the folder itself.
void RunPass(const FSRef& folder, const FSRef* destination, const PassRules& rules);

// The folder for a key: whatever bears the name in `parent`, else a folder made there. Answers
// noErr with the reference in `*folder`, or the status with which it could not be made; paramErr,
// touching nothing, when `folder` is null. Where the name could not even be looked up the answer is
// noErr and the reference all zero.
Status GetOrCreateKeyFolder(const FSRef& parent, std::u16string_view name, FSRef* folder);

}  // namespace tessary
