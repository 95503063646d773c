#include "programs/cli/aggregate_command.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "engine/application_source.h"
#include "engine/keys.h"
#include "engine/run.h"
#include "engine/shell.h"
#include "platform/extension_map.h"
#include "platform/file_system.h"
#include "platform/managers/bundle.h"
#include "platform/managers/calendar.h"
#include "platform/managers/internet_config.h"
#include "platform/terminal/status_line.h"
#include "programs/cli/destination.h"
#include "programs/cli/messages.h"
#include "programs/cli/settings_report.h"
#include "programs/cli/tally.h"

namespace tessary {
namespace {

constexpr char kApplicationSignature[] = "Tsry";
constexpr int kStatusLineTarget = 1;

void StartServices() {
  SetMainBundleInfoDictionary({{"CFBundleSignature", kApplicationSignature}});
  BuildExtensionMap();
  gDateLocale = CopyUserDateLocale();
}

void PrintWarnings() {
  for (const std::string& problem : DescribeSettingProblems()) PrintProblem(problem);
  for (const std::string& problem : DescribeBadMappingLines()) PrintProblem(problem);
}

// The engine takes a folder that it cannot read for an empty one; here that ends in a refusal.
Status CheckFolder(const FSRef& folder) {
  FSIterator iterator;
  return FSOpenIterator(folder, &iterator);
}

Status OpenSource(const std::string& named, FSRef* source) {
  std::string resolved;
  Status status = ResolveNamedPath(named, &resolved);
  if (status == noErr) status = FSPathMakeRef(resolved.c_str(), source);
  if (status != noErr) return status;
  uint8_t isFolder = 0;
  status = GetNodeIdAndKind(*source, nullptr, &isFolder);
  if (status == noErr && isFolder == 0) status = errFSNotAFolder;
  return status == noErr ? CheckFolder(*source) : status;
}

// One run behind the engine's hooks.
class Run {
 public:
  explicit Run(const AggregateOptions& options) : options_(options) {
    SetShellHooks({
        .showProgressText = [this](const std::string& text, int target) { ShowText(text, target); },
        .runAggregation = [this](const FSRef& source) { Start(source); },
        .observeItem = [this](const std::string& path,
                              ItemOutcome outcome) { Observe(path, outcome); },
    });
  }
  ~Run() { SetShellHooks({}); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  // None while no run was started.
  std::optional<ExitStatus> Result() const { return result_; }

 private:
  void Start(const FSRef& source);
  void PrintSummary(double seconds) const;

  void ShowText(const std::string& text, int target) {
    if (statusLine_ && target == kStatusLineTarget) statusLine_->ShowText(text);
  }

  void Observe(const std::string& path, ItemOutcome outcome) {
    tally_.Count(path, outcome);
    if (statusLine_) statusLine_->CountItem();
  }

  const AggregateOptions& options_;
  std::optional<ExitStatus> result_;
  std::optional<StatusLine> statusLine_;
  Tally tally_;
};

void Run::Start(const FSRef& source) {
  result_ = ExitStatus::kNoRun;
  // Checked again: an application's resources folder is another one than the folder that was named.
  const Status status = CheckFolder(source);
  if (status != noErr) {
    PrintProblem("the resources of the source " + Quoted(options_.source) +
                 " cannot be used: " + DescribeStatus(status));
    return;
  }
  FSRef destination;
  std::string problem;
  if (!OpenDestination(options_.destination, source, &destination, &problem)) {
    PrintProblem(problem);
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  statusLine_.emplace();
  AggregateFolder(source, destination);
  statusLine_.reset();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  PrintSummary(elapsed.count());
  result_ = tally_.failed() == 0 ? ExitStatus::kAllFiled : ExitStatus::kSomeFailed;
}

// The exit status tells of the files, so that it stays theirs when only the summary is lost.
void Run::PrintSummary(double seconds) const {
  const std::string summary = SummaryLine(tally_, seconds);
  if (WriteOutput(summary + "\n")) return;
  PrintProblem("the summary could not be written to standard output: " + summary);
}

}  // namespace

ExitStatus Aggregate(const AggregateOptions& options) {
  for (const auto& [key, value] : options.settings) LayPreferenceOverFile(key, value);
  StartServices();
  PrintWarnings();
  FSRef source;
  const Status status = OpenSource(options.source, &source);
  if (status != noErr) {
    PrintProblem("the source " + Quoted(options.source) +
                 " cannot be used: " + DescribeStatus(status));
    return ExitStatus::kNoRun;
  }
  const Run run(options);
  ResolveRunSource(source);
  if (!run.Result()) {
    PrintProblem("the source " + Quoted(options.source) +
                 " is an application whose resources folder is missing or cannot be read: give "
                 "--whole-application to file the whole of it");
  }
  return run.Result().value_or(ExitStatus::kNoRun);
}

}  // namespace tessary
