#include "programs/cli/aggregate_command.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/application_source.h"
#include "engine/run.h"
#include "engine/shell.h"
#include "platform/managers/console.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/internet_config.h"
#include "platform/managers/interruption.h"
#include "platform/managers/log.h"
#include "platform/managers/planned_changes.h"
#include "platform/managers/preferences_store.h"
#include "programs/cli/engine_setup.h"
#include "programs/cli/failure_report.h"
#include "programs/cli/item_records.h"
#include "programs/cli/journal_writer.h"
#include "programs/cli/json_bytes.h"
#include "programs/cli/key_folder_summary.h"
#include "programs/cli/messages.h"
#include "programs/cli/named_paths.h"
#include "programs/cli/progress_line.h"
#include "programs/cli/run_totals.h"
#include "programs/cli/settings_report.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

constexpr char kSameFolder[] =
    "The destination directory can not be the same as the source directory";

using Clock = std::chrono::steady_clock;

// What is known of a run while it goes on, and afterwards.
struct Run {
  std::string problem = {};                     // why the run did not take place
  std::optional<Clock::time_point> start = {};  // none if it did not take place
  std::optional<ProgressLine> progress;         // while it goes on, if it is shown
  RunTotals totals;
  FailureReport failures;
  std::optional<FSPlannedChanges> plan;  // of a dry run
  std::string destination = {};          // as typed
  bool isJson = false;                   // to print `records` instead of the summary
  std::optional<ItemRecords> records;    // only if they are used
  KeyFolderSummary folders;
  std::unique_ptr<JournalWriter> journal;
  bool isIncomplete = false;  // memory did not suffice for all of the above
};

class ScopedHooks {
 public:
  explicit ScopedHooks(EngineHooks hooks) { SetEngineHooks(std::move(hooks)); }
  ~ScopedHooks() { SetEngineHooks({}); }
  ScopedHooks(const ScopedHooks&) = delete;
  ScopedHooks& operator=(const ScopedHooks&) = delete;
};

void PrintAll(const std::vector<std::string>& problems) {
  for (const std::string& problem : problems) PrintProblem(problem);
}

// Prints the records of the items as JSON, and adds them to the table, as the options say.
void RecordItems(const AggregateOptions& options, Run* run) {
  run->isJson = options.isJson;
  // Whoever tries a run first wants to see where the files would go.
  const bool hasTable = options.hasSummary || (options.isDryRun && IsOutputOnTerminal());
  if (!run->isJson && !hasTable) return;
  run->records.emplace([run, hasTable](const ItemRecord& record) {
    if (run->isJson) BufferOutput(JsonLine(JsonOfRecord(record)) + "\n");
    if (hasTable) run->folders.Add(record);
  });
}

// Returns false if not all output can be written. The summary is then printed on standard error.
bool PrintSummary(const Run& run) {
  const double seconds = std::chrono::duration<double>(Clock::now() - *run.start).count();
  const bool isDryRun = run.plan.has_value();
  const std::string summary =
      SummaryLine(run.totals.OfSource(), seconds, isDryRun) + KeptCopiesText(FSCountKeptCopies());
  const std::vector<std::string> others = DestinationLines(run.totals.OfDestination(), isDryRun);
  const std::string table = run.folders.Text();
  std::string text;
  if (!run.isJson) {
    text = summary + "\n";
    for (const std::string& line : others) text += line + "\n";
    text += table;
  }
  const bool isWritten = WriteOutput(text);
  if (!isWritten) {
    PrintProblem(std::string(kWriteError) + "; the summary is: " + summary);
    PrintAll(others);
  }
  if (run.isJson || !isWritten) PrintOnStandardError(table);
  return isWritten;
}

// Prints what a dry run has planned to put on a full filesystem. Returns whether there is anything.
bool PrintShortages(const Run& run) {
  if (!run.plan) return false;
  const std::vector<FSSpaceShortage> shortages = run.plan->FindShortages();
  for (const FSSpaceShortage& shortage : shortages) {
    PrintProblem(run.destination + ": not enough space: needs " + SizeText(shortage.needed) + ", " +
                 SizeText(shortage.available) + " are free");
  }
  return !shortages.empty();
}

// Reports how the run went.
ExitStatus Conclude(Run* run) try {
  if (run->records) run->records->Finish();
  PrintAll(run->failures.KeptItemLines());
  PrintAll(run->failures.Lines());
  if (run->isIncomplete) PrintProblem("out of memory: the totals are incomplete");
  const bool isSpaceShort = PrintShortages(*run);
  if (!PrintSummary(*run)) return ExitStatus::kFailure;
  const uint64_t failed = run->totals.OfSource().failed + run->totals.OfDestination().failed;
  const bool isComplete = failed == 0 && !isSpaceShort && !run->isIncomplete;
  return isComplete ? ExitStatus::kSuccess : ExitStatus::kSomeFailed;
} catch (const std::bad_alloc&) {
  PrintOutOfMemory();
  return ExitStatus::kSomeFailed;
}

// Ends the journal. Returns false, after a report, if it could not be written completely.
bool EndJournal(const AggregateOptions& options, Run* run) {
  if (!run->journal) return true;
  run->journal->End();
  const Status status = run->journal->error();
  if (status == noErr) return true;
  PrintProblem(options.journal + ": cannot write the journal: " + DescribeStatus(status));
  return false;
}

// Ends the process, after a report, if the journal cannot be written any more. Called between two
// items.
void EndIfJournalFailed(const AggregateOptions& options, Run* run) {
  if (!run->journal || run->journal->error() == noErr) return;
  run->progress.reset();
  // The run is incomplete, whatever the totals are.
  (void)Conclude(run);
  (void)EndJournal(options, run);
  PrintProblem("the run was ended, because no change is made without a record");
  (void)std::fflush(nullptr);
  std::_Exit(static_cast<int>(ExitStatus::kSomeFailed));
}

// Ends the process, after a report, if the user has interrupted it. Called between two items.
void EndIfInterrupted(const AggregateOptions& options, Run* run) {
  if (!IsInterrupted()) return;
  run->progress.reset();
  (void)EndJournal(options, run);
  // The signal takes the place of the exit status.
  (void)Conclude(run);
  PrintProblem("interrupted");
  EndByInterruption();
}

void Record(const ItemReport& report, Run* run) try {
  run->totals.Count(report);
  run->failures.Add(report);
  if (run->records) run->records->Add(report);
} catch (const std::bad_alloc&) {
  run->isIncomplete = true;
}

void Observe(const AggregateOptions& options, Run* run, const ItemReport& report) {
  // Reported by Aggregate.
  if (report.outcome == ItemOutcome::kNoRun) return;
  Record(report, run);
  const bool isItem = report.outcome != ItemOutcome::kFolderNotListed;
  if (isItem && run->progress) run->progress->CountItem();
  EndIfJournalFailed(options, run);
  EndIfInterrupted(options, run);
}

// Creates the journal, if one is wanted. Until then nothing has been changed.
bool StartJournal(const AggregateOptions& options, const FSRef& source, Run* run) {
  if (options.journal.empty()) return true;
  std::string destination;
  if (!FindDestinationPath(options.destination, &destination, &run->problem)) return false;
  const std::string sourcePath = FSLastKnownPath(source);
  if (sourcePath == destination) {
    run->problem = kSameFolder;
    return false;
  }
  run->journal = CreateJournal(options.journal, sourcePath, destination, &run->problem);
  if (!run->journal) return false;
  if (GetReplaceFilesBySameName()) {
    PrintProblem("existing files are replaced, which undo cannot reverse");
  }
  return true;
}

// Files `source`, on which ResolveRunSource decided. The destination is created only once the
// source is known to be usable.
void FileSource(const AggregateOptions& options, Run* run, const FSRef& source) {
  run->problem.clear();
  FSRef destination;
  if (!CheckRunSource(source, options.source, &run->problem) ||
      !StartJournal(options, source, run) ||
      !FindOrCreateDestination(options.destination, &destination, &run->problem)) {
    return;
  }
  if (FSCompareFSRefs(destination, source) == noErr) {
    run->problem = kSameFolder;
    return;
  }
  // It would be drawn into the JSON.
  if (!run->isJson || !IsOutputOnTerminal()) run->progress.emplace();
  run->start = Clock::now();
  CatchInterruption();
  AggregateFolder(source, destination);
  run->progress.reset();
}

}  // namespace

ExitStatus Aggregate(const AggregateOptions& options) {
  for (const auto& [key, value] : options.settings) OverridePreference(key, value);
  PrintAll(DescribeSettingProblems());
  PrintAll(DescribeBadMappingLines());
  if (const std::optional<std::string> problem = DescribeInvalidKind()) {
    PrintProblem(*problem);
    return ExitStatus::kFailure;
  }
  PrepareEngine();
  SetSuccessLogging(!options.isQuiet && (options.isVerbose || !IsLogOnTerminal()));
  Run run;
  if (options.isDryRun) run.plan.emplace();
  run.destination = options.destination;
  RecordItems(options, &run);
  // Stays if ResolveRunSource starts no run, which it does not report.
  run.problem = options.source +
                ": the application has no readable resources folder; use --whole-application to "
                "sort all of it";
  const ScopedHooks hooks({
      .showProgressText =
          [&run](const std::string& text, int) {
            if (run.progress) run.progress->ShowText(text);
          },
      .runAggregation = std::bind_front(FileSource, std::cref(options), &run),
      .observeItem = std::bind_front(Observe, std::cref(options), &run),
      .wantsSizes = run.records.has_value(),
  });
  FSRef source;
  if (OpenSource(options.source, &source, &run.problem)) ResolveRunSource(source);
  if (!run.start) {
    PrintProblem(run.problem);
    return ExitStatus::kFailure;
  }
  EndIfJournalFailed(options, &run);
  EndIfInterrupted(options, &run);
  const bool isJournalComplete = EndJournal(options, &run);
  const ExitStatus status = Conclude(&run);
  return status == ExitStatus::kSuccess && !isJournalComplete ? ExitStatus::kSomeFailed : status;
}

}  // namespace tessary
