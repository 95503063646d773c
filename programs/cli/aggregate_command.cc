#include "programs/cli/aggregate_command.h"

#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "app/opened_items.h"
#include "app/startup.h"
#include "engine/shell.h"
#include "platform/managers/internet_config.h"
#include "platform/managers/preferences_store.h"
#include "programs/cli/bundle_info.h"
#include "programs/cli/destination.h"
#include "programs/cli/messages.h"
#include "programs/cli/run_totals.h"
#include "programs/cli/settings_report.h"
#include "programs/cli/source.h"

namespace tessary {
namespace {

void PrintWarnings() {
  for (const std::string& problem : DescribeSettingProblems()) PrintProblem(problem);
  for (const std::string& problem : DescribeBadMappingLines()) PrintProblem(problem);
}

bool IsUnlogged(ItemOutcome outcome) {
  return outcome == ItemOutcome::kFailedUnlogged ||
         outcome == ItemOutcome::kFailedUnloggedInYearFolder;
}

// The run of one program: it answers the shell's question for the destination and counts the items.
class Run {
 public:
  Run(const std::string& destination, TerminalWindowSystem* terminal)
      : destination_(destination), terminal_(terminal) {
    terminal_->AnswerPanels([this] { return AnswerPanel(); });
    SetEngineHooks({.observeItem = [this](const std::string& path, ItemOutcome outcome) {
      Observe(path, outcome);
    }});
  }
  ~Run() {
    SetEngineHooks({});
    terminal_->AnswerPanels({});
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  ExitStatus Perform(const std::string& source);

 private:
  std::optional<std::string> AnswerPanel() {
    std::string path;
    if (!FindOrCreateDestination(destination_, &path, &problem_)) return std::nullopt;
    hasBegun_ = true;
    return path;
  }

  void Observe(const std::string& path, ItemOutcome outcome) try {
    totals_.Count(path, outcome);
    if (outcome == ItemOutcome::kFolderNotListed) {
      notListed_.insert(path);
    } else {
      if (IsUnlogged(outcome)) unlogged_.insert(path);
      // One that stayed in its year folder may be filed when the run comes by again.
      if (outcome == ItemOutcome::kFiled) unlogged_.erase(path);
      terminal_->CountItem();
    }
  } catch (const std::bad_alloc&) {
    isOutOfMemory_ = true;
  }

  ExitStatus Conclude(double seconds) const;

  std::string DescribeRefusal() const;
  void PrintUnlogged() const;
  void PrintSummary(double seconds) const;

  const std::string& destination_;  // as typed
  TerminalWindowSystem* terminal_;
  std::string problem_;  // of the destination, empty for none
  RunTotals totals_;
  // Of which the log says nothing; one that has no path is the empty one.
  std::set<std::string> notListed_;  // folders
  std::set<std::string> unlogged_;   // items
  bool hasBegun_ = false;            // as far as the destination is known
  bool isOutOfMemory_ = false;       // so that not all that was told could be kept
};

ExitStatus Run::Perform(const std::string& source) try {
  InstallPendingSourcesTimer(source);
  // A terminal's forms can always be opened, and a run that did not take place is told of below.
  (void)RunApplication();
  const std::optional<double> seconds = terminal_->BusySeconds();
  if (!seconds) {
    PrintProblem(DescribeRefusal());
    return ExitStatus::kFailure;
  }
  return Conclude(*seconds);
} catch (const std::bad_alloc&) {
  PrintOutOfMemory();
  return hasBegun_ ? ExitStatus::kSomeFailed : ExitStatus::kFailure;
}

// Tells how the run went.
ExitStatus Run::Conclude(double seconds) const {
  PrintUnlogged();
  if (isOutOfMemory_) PrintProblem("there was not enough memory to keep count of everything");
  PrintSummary(seconds);
  const bool isAllFiled = totals_.failed() == 0 && !isOutOfMemory_;
  return isAllFiled ? ExitStatus::kSuccess : ExitStatus::kSomeFailed;
}

// The shell passes over what went away since it was found usable without a word.
std::string Run::DescribeRefusal() const {
  if (!problem_.empty()) return problem_;
  if (!terminal_->StatusText().empty()) return terminal_->StatusText();
  return "the source or the destination is not there any more";
}

void Run::PrintUnlogged() const {
  for (const std::string& folder : notListed_) {
    const std::string subject = folder.empty() ? "a folder" : "the folder " + Quoted(folder);
    PrintProblem(subject + " could not be listed; what is in it was left");
  }
  for (const std::string& item : unlogged_) {
    const std::string subject = item.empty() ? "an item" : Quoted(item);
    PrintProblem(subject + " was left: it, or the folder for it, could not be looked at or made");
  }
}

// The exit status tells of the files, so that it stays theirs when only the summary is lost.
void Run::PrintSummary(double seconds) const {
  const std::string summary = SummaryLine(totals_, seconds);
  if (WriteOutput(summary + "\n")) return;
  PrintProblem("the summary could not be written to standard output: " + summary);
}

}  // namespace

ExitStatus Aggregate(const AggregateOptions& options, TerminalWindowSystem* terminal) {
  for (const auto& [key, value] : options.settings) OverridePreference(key, value);
  RegisterBundleInfo();
  PrintWarnings();
  // The program ends after its run in any case, and with the run's status.
  OverridePreference("QuitWhenDone", false);
  std::string source;
  std::string problem;
  if (!FindSource(options.source, &source, &problem)) {
    PrintProblem(problem);
    return ExitStatus::kFailure;
  }
  return Run(options.destination, terminal).Perform(source);
}

}  // namespace tessary
