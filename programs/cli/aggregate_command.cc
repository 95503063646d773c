#include "programs/cli/aggregate_command.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "engine/application_source.h"
#include "engine/run.h"
#include "engine/shell.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/internet_config.h"
#include "platform/managers/preferences_store.h"
#include "programs/cli/engine_setup.h"
#include "programs/cli/messages.h"
#include "programs/cli/named_paths.h"
#include "programs/cli/progress_line.h"
#include "programs/cli/run_totals.h"
#include "programs/cli/settings_report.h"

namespace tessary {
namespace {

constexpr char kSameFolder[] =
    "The destination directory can not be the same as the source directory";

// What is known of a run while it goes on, and afterwards.
struct Run {
  std::string problem = {};              // why the run did not take place; empty if it did
  std::optional<double> seconds = {};    // how long it took; none before its end
  std::optional<ProgressLine> progress;  // while it goes on
  RunTotals totals;
  uint64_t keptCopies = 0;  // copies of items that another program moved or deleted meanwhile
  // Paths that the log does not name; an object without a path is the empty one.
  std::set<std::string> unlistedFolders = {};
  std::set<std::string> unloggedItems = {};
  bool isIncomplete = false;  // memory did not suffice for all of the above
};

class ScopedHooks {
 public:
  explicit ScopedHooks(EngineHooks hooks) { SetEngineHooks(std::move(hooks)); }
  ~ScopedHooks() { SetEngineHooks({}); }
  ScopedHooks(const ScopedHooks&) = delete;
  ScopedHooks& operator=(const ScopedHooks&) = delete;
};

void PrintWarnings() {
  for (const std::string& problem : DescribeSettingProblems()) PrintProblem(problem);
  for (const std::string& problem : DescribeBadMappingLines()) PrintProblem(problem);
}

void Observe(Run* run, const ItemReport& report) try {
  if (report.outcome == ItemOutcome::kNoRun) return;
  run->totals.Count(report);
  if (report.outcome == ItemOutcome::kFolderNotListed) {
    run->unlistedFolders.emplace(report.path);
    return;
  }
  if (report.outcome == ItemOutcome::kNotRead || report.outcome == ItemOutcome::kNoKeyFolder) {
    run->unloggedItems.emplace(report.path);
  }
  // An item that stayed in its year folder may be filed when the run visits the folder again.
  if (report.step == FilingStep::kDay && report.outcome == ItemOutcome::kFiled) {
    run->unloggedItems.erase(std::string(report.path));
  }
  run->progress->CountItem();
} catch (const std::bad_alloc&) {
  run->isIncomplete = true;
}

// Files `source`, on which ResolveRunSource decided. The destination is created only once the
// source is known to be usable.
void FileSource(const AggregateOptions& options, Run* run, const FSRef& source) {
  run->problem.clear();
  FSRef destination;
  if (!CheckRunSource(source, options.source, &run->problem) ||
      !FindOrCreateDestination(options.destination, &destination, &run->problem)) {
    return;
  }
  if (FSCompareFSRefs(destination, source) == noErr) {
    run->problem = kSameFolder;
    return;
  }
  run->progress.emplace();
  const auto start = std::chrono::steady_clock::now();
  const uint64_t keptBefore = FSCountKeptCopies();
  AggregateFolder(source, destination);
  run->keptCopies = FSCountKeptCopies() - keptBefore;
  run->seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  run->progress.reset();
}

void PrintUnlogged(const Run& run) {
  for (const std::string& folder : run.unlistedFolders) {
    PrintProblem((folder.empty() ? "a folder" : folder) +
                 ": cannot list the folder; its contents were not filed");
  }
  for (const std::string& item : run.unloggedItems) {
    PrintProblem((item.empty() ? "an item" : item) +
                 ": not filed: cannot read it or create its subfolder");
  }
}

void PrintSummary(const Run& run) {
  const std::string summary =
      SummaryLine(run.totals.OfSource(), *run.seconds) + KeptCopiesText(run.keptCopies);
  if (WriteOutput(summary + "\n")) return;
  PrintProblem(std::string(kWriteError) + "; the summary is: " + summary);
}

// Reports how the run went. The status is that of the items, also when the summary is lost.
ExitStatus Conclude(const Run& run) try {
  PrintUnlogged(run);
  if (run.isIncomplete) PrintProblem("out of memory: the totals are incomplete");
  PrintSummary(run);
  const bool isAllFiled = run.totals.OfSource().failed == 0 &&
                          run.totals.OfDestination().failed == 0 && !run.isIncomplete;
  return isAllFiled ? ExitStatus::kSuccess : ExitStatus::kSomeFailed;
} catch (const std::bad_alloc&) {
  PrintOutOfMemory();
  return ExitStatus::kSomeFailed;
}

}  // namespace

ExitStatus Aggregate(const AggregateOptions& options) {
  for (const auto& [key, value] : options.settings) OverridePreference(key, value);
  PrintWarnings();
  if (const std::optional<std::string> problem = DescribeInvalidKind()) {
    PrintProblem(*problem);
    return ExitStatus::kFailure;
  }
  PrepareEngine();
  Run run;
  // Stays if ResolveRunSource starts no run, which it does not report.
  run.problem = options.source +
                ": the application has no readable resources folder; use --whole-application to "
                "sort all of it";
  const ScopedHooks hooks({
      .showProgressText = [&run](const std::string& text, int) { run.progress->ShowText(text); },
      .runAggregation = std::bind_front(FileSource, std::cref(options), &run),
      .observeItem = std::bind_front(Observe, &run),
  });
  FSRef source;
  if (OpenSource(options.source, &source, &run.problem)) ResolveRunSource(source);
  if (run.seconds) return Conclude(run);
  PrintProblem(run.problem);
  return ExitStatus::kFailure;
}

}  // namespace tessary
