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
#include "programs/cli/settings_report.h"
#include "programs/cli/source.h"
#include "programs/cli/tally.h"

namespace tessary {
namespace {

void PrintWarnings() {
  for (const std::string& problem : DescribeSettingProblems()) PrintProblem(problem);
  for (const std::string& problem : DescribeBadMappingLines()) PrintProblem(problem);
}

bool IsUntold(ItemOutcome outcome) {
  return outcome == ItemOutcome::kUntold || outcome == ItemOutcome::kUntoldInYear;
}

// The run of one program: it answers the shell's question for the destination and counts the items.
class Run {
 public:
  Run(const std::string& destination, TerminalWindowSystem* terminal)
      : destination_(destination), terminal_(terminal) {
    terminal_->AnswerPanels([this] { return AnswerPanel(); });
    SetShellHooks({.observeItem = [this](const std::string& path, ItemOutcome outcome) {
      Observe(path, outcome);
    }});
  }
  ~Run() {
    SetShellHooks({});
    terminal_->AnswerPanels({});
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  ExitStatus Perform(const std::string& source);

 private:
  std::optional<std::string> AnswerPanel() {
    std::string path;
    if (!FindDestination(destination_, &path, &problem_)) return std::nullopt;
    hasBegun_ = true;
    return path;
  }

  void Observe(const std::string& path, ItemOutcome outcome) try {
    tally_.Count(path, outcome);
    if (outcome == ItemOutcome::kFolderNotListed) {
      notListed_.insert(path);
    } else {
      if (IsUntold(outcome)) untold_.insert(path);
      // One that stayed in its year folder may be filed when the run comes by again.
      if (outcome == ItemOutcome::kFiled) untold_.erase(path);
      terminal_->CountItem();
    }
  } catch (const std::bad_alloc&) {
    isShortOfMemory_ = true;
  }

  ExitStatus Conclude(double seconds) const;

  std::string DescribeRefusal() const;
  void PrintUntold() const;
  void PrintSummary(double seconds) const;

  const std::string& destination_;  // as typed
  TerminalWindowSystem* terminal_;
  std::string problem_;  // of the destination, empty for none
  Tally tally_;
  // Of which the log says nothing; one that has no path is the empty one.
  std::set<std::string> notListed_;  // folders
  std::set<std::string> untold_;     // items
  bool hasBegun_ = false;            // as far as the destination is known
  bool isShortOfMemory_ = false;     // so that not all that was told could be kept
};

ExitStatus Run::Perform(const std::string& source) try {
  InstallPendingSourcesTimer(source);
  // A terminal's forms can always be opened, and a run that did not take place is told of below.
  (void)RunApplication();
  const std::optional<double> seconds = terminal_->BusySeconds();
  if (!seconds) {
    PrintProblem(DescribeRefusal());
    return ExitStatus::kNoRun;
  }
  return Conclude(*seconds);
} catch (const std::bad_alloc&) {
  PrintWantOfMemory();
  return hasBegun_ ? ExitStatus::kSomeFailed : ExitStatus::kNoRun;
}

// Tells how the run went.
ExitStatus Run::Conclude(double seconds) const {
  PrintUntold();
  if (isShortOfMemory_) PrintProblem("there was not enough memory to keep count of everything");
  PrintSummary(seconds);
  const bool isAllFiled = tally_.failed() == 0 && !isShortOfMemory_;
  return isAllFiled ? ExitStatus::kAllFiled : ExitStatus::kSomeFailed;
}

// The shell passes over what went away since it was found usable without a word.
std::string Run::DescribeRefusal() const {
  if (!problem_.empty()) return problem_;
  if (!terminal_->StatusText().empty()) return terminal_->StatusText();
  return "the source or the destination is not there any more";
}

void Run::PrintUntold() const {
  for (const std::string& folder : notListed_) {
    const std::string subject = folder.empty() ? "a folder" : "the folder " + Quoted(folder);
    PrintProblem(subject + " could not be listed; what is in it was left");
  }
  for (const std::string& item : untold_) {
    const std::string subject = item.empty() ? "an item" : Quoted(item);
    PrintProblem(subject + " was left: it, or the folder for it, could not be looked at or made");
  }
}

// The exit status tells of the files, so that it stays theirs when only the summary is lost.
void Run::PrintSummary(double seconds) const {
  const std::string summary = SummaryLine(tally_, seconds);
  if (WriteOutput(summary + "\n")) return;
  PrintProblem("the summary could not be written to standard output: " + summary);
}

}  // namespace

ExitStatus Aggregate(const AggregateOptions& options, TerminalWindowSystem* terminal) {
  for (const auto& [key, value] : options.settings) LayPreferenceOverFile(key, value);
  RegisterBundleInfo();
  PrintWarnings();
  // The program ends after its run in any case, and with the run's status.
  LayPreferenceOverFile("QuitWhenDone", false);
  std::string source;
  std::string problem;
  if (!FindSource(options.source, &source, &problem)) {
    PrintProblem(problem);
    return ExitStatus::kNoRun;
  }
  return Run(options.destination, terminal).Perform(source);
}

}  // namespace tessary
