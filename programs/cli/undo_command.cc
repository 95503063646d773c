#include "programs/cli/undo_command.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/managers/change_reversal.h"
#include "platform/managers/log.h"
#include "programs/cli/journal_reader.h"
#include "programs/cli/messages.h"
#include "programs/cli/undo_plan.h"

namespace tessary {
namespace {

using UndoClock = std::chrono::steady_clock;

std::string DescribeJournalStatus(Status status) {
  if (status == fBsyErr) return "the journal is in use by another process";
  return status == paramErr ? "not a regular file" : DescribeStatus(status);
}

const std::string& PathOf(const UndoStep& step) {
  const auto* item = std::get_if<FiledItem>(&step);
  return item != nullptr ? item->places.back().path : std::get<CreatedFolder>(step).path;
}

std::string WhyNotReversed(const UndoStep& step, const Reversal& reversal) {
  switch (reversal.outcome) {
    case ReversalOutcome::kChanged:
      return "it has changed since the run";
    case ReversalOutcome::kMissing:
      return "it is not there any more";
    case ReversalOutcome::kOriginalChanged:
      return "its original is gone or has changed: " + std::get<FiledItem>(step).original;
    case ReversalOutcome::kNameUsed:
      return "another file has its old name: " + std::get<FiledItem>(step).original;
    case ReversalOutcome::kFolderNotEmpty:
      return "the folder is not empty";
    case ReversalOutcome::kLinkInPath:
      return "a folder in its path is a symbolic link now";
    default:
      return DescribeStatus(reversal.status);
  }
}

class UndoRun {
 public:
  explicit UndoRun(bool isDryRun) : isDryRun_(isDryRun), reversal_(MakeChangeReversal(isDryRun)) {}

  // What blocks a step may be moved away by a later one, and the original of a copy may be moved
  // back, so the remaining steps are tried again as long as that helps.
  void Do(const UndoPlan& plan) {
    // A crafted journal could otherwise make each pass reverse a single step.
    constexpr int kMaxPasses = 8;
    std::vector<const UndoStep*> remaining;
    for (const UndoStep& step : plan.steps) remaining.push_back(&step);
    for (int pass = 0; pass < kMaxPasses && !remaining.empty(); ++pass) {
      const uint64_t before = changes_;
      blocked_.clear();
      for (const UndoStep* step : remaining) Try(*step);
      if (changes_ == before) break;
      remaining.clear();
      for (const auto& [step, reversal] : blocked_) remaining.push_back(step);
    }
    for (const auto& [step, reversal] : blocked_) Skip(*step, reversal);
  }

  void SkipReplacedItems(uint64_t count) {
    if (count == 0) return;
    PrintProblem(std::to_string(count) + (count == 1 ? " replaced item" : " replaced items") +
                 " cannot be restored");
    skipped_ += count;
  }

  // Prints the summary. Returns false if it cannot be written.
  bool PrintSummary() const {
    const double seconds = std::chrono::duration<double>(UndoClock::now() - start_).count();
    const std::string would = isDryRun_ ? "would be " : "";
    return WriteOutput(listing_ + std::to_string(movedBack_) + " " + would + "moved back, " +
                       std::to_string(deleted_) + (deleted_ == 1 ? " copy " : " copies ") + would +
                       "deleted, " + std::to_string(removed_) +
                       (removed_ == 1 ? " folder " : " folders ") + would + "removed, " +
                       std::to_string(skipped_) + " skipped in " + DecimalText(seconds) + " s\n");
  }

  ExitStatus Result() const {
    if (skipped_ == 0) return ExitStatus::kSuccess;
    return reversed_ > 0 ? ExitStatus::kSomeFailed : ExitStatus::kFailure;
  }

 private:
  void Try(const UndoStep& step) {
    const auto* item = std::get_if<FiledItem>(&step);
    const Reversal reversal = item != nullptr
                                  ? reversal_->ReverseItem(*item)
                                  : reversal_->RemoveFolder(std::get<CreatedFolder>(step));
    switch (reversal.outcome) {
      case ReversalOutcome::kMovedBack:
        Count(&movedBack_, "move back " + Quoted(PathOf(step)) + " to " + Quoted(item->original));
        return;
      case ReversalOutcome::kCopyDeleted:
        Count(&deleted_, "delete " + Quoted(PathOf(step)));
        return;
      case ReversalOutcome::kFolderRemoved:
        Count(&removed_, "remove " + Quoted(PathOf(step)));
        return;
      case ReversalOutcome::kNothingToDo:
        ++reversed_;
        return;
      case ReversalOutcome::kOriginalChanged:
      case ReversalOutcome::kNameUsed:
      case ReversalOutcome::kFolderNotEmpty:
        blocked_.emplace_back(&step, reversal);
        return;
      default:
        Skip(step, reversal);
    }
  }

  void Count(uint64_t* counter, const std::string& action) {
    ++*counter;
    ++changes_;
    ++reversed_;
    if (isDryRun_) listing_ += "would " + EscapeControlCharacters(action) + "\n";
  }

  void Skip(const UndoStep& step, const Reversal& reversal) {
    ++skipped_;
    PrintProblem("skipped " + Quoted(PathOf(step)) + ": " + WhyNotReversed(step, reversal));
  }

  const bool isDryRun_;
  const std::unique_ptr<ChangeReversal> reversal_;
  const UndoClock::time_point start_ = UndoClock::now();
  std::vector<std::pair<const UndoStep*, Reversal>> blocked_;  // to be tried again
  std::string listing_;                                        // of a dry run
  uint64_t movedBack_ = 0;
  uint64_t deleted_ = 0;
  uint64_t removed_ = 0;
  uint64_t skipped_ = 0;
  uint64_t changes_ = 0;   // that were made
  uint64_t reversed_ = 0;  // with those that had nothing to be done
};

}  // namespace

ExitStatus Undo(const UndoOptions& options) {
  std::unique_ptr<JournalFile> file;
  const Status status = OpenJournalFile(options.journal, &file);
  Journal journal;
  std::string problem;
  const bool isRead = status == noErr && ReadJournal(*file, &journal, &problem);
  if (status != noErr) problem = DescribeJournalStatus(status);
  if (!isRead) {
    PrintProblem(Shown(options.journal) + ": " + problem);
    return ExitStatus::kFailure;
  }
  const UndoPlan plan = MakeUndoPlan(journal);
  UndoRun run(options.isDryRun);
  run.SkipReplacedItems(plan.replacedItems);
  run.Do(plan);
  if (run.PrintSummary()) return run.Result();
  PrintProblem(kWriteError);
  return ExitStatus::kFailure;
}

}  // namespace tessary
