#include "programs/run_monitor.h"

#include <functional>
#include <new>

#include "app/run_hooks.h"
#include "platform/managers/log.h"
#include "platform/strings.h"
#include "programs/cli/failure_report.h"
#include "programs/cli/messages.h"
#include "programs/cli/settings_report.h"

namespace tessary {
namespace {

constexpr char kUnknownItem[] = "an item";

std::string NameIn(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos || path.size() == 1 ? path : path.substr(slash + 1);
}

std::string DescribeProblem(const ItemReport& report) {
  std::string reason = DescribeCause(report);
  switch (report.outcome) {
    case ItemOutcome::kNotRead:
      return "cannot be read: " + reason;
    case ItemOutcome::kNoKeyFolder:
      return "cannot create \"" + std::string(report.folderPath) + "\": " + reason;
    case ItemOutcome::kCommentNotCopied:
      return "the comment was not copied: " + reason;
    case ItemOutcome::kFolderNotListed:
      return "cannot list the folder: " + reason;
    case ItemOutcome::kNoRun:
      return "the application has no readable resources folder";
    default:
      return reason;
  }
}

}  // namespace

RunMonitor::RunMonitor(QtWindowSystem* system) : system_(system) {
  SetRunHooks(
      {.beginSource =
           [this](size_t number, size_t count) {
             sourceNumber_ = number;
             sourceCount_ = count;
           },
       .askDestination = std::bind_front(&RunMonitor::AskDestination, this),
       .beginRun = std::bind_front(&RunMonitor::BeginRun, this),
       .endRun = std::bind_front(&RunMonitor::EndRun, this),
       .refuseSource = [this](const std::string& path,
                              Status status) { RefuseSource(path, DescribeStatus(status)); }});
  EngineHooks hooks = GetEngineHooks();
  hooks.observeItem = std::bind_front(&RunMonitor::ObserveItem, this);
  SetEngineHooks(hooks);
}

RunMonitor::~RunMonitor() {
  SetRunHooks({});
  EngineHooks hooks = GetEngineHooks();
  hooks.observeItem = nullptr;
  SetEngineHooks(hooks);
}

// The source may vanish while the panel is open, so that its path is taken before.
void RunMonitor::AskDestination(const FSRef& source) {
  source_ = StringWithFSRef(&source).value_or("");
  system_->SetPanelSource({.path = source_, .number = sourceNumber_, .count = sourceCount_});
  sourceNumber_ = 1;
  sourceCount_ = 1;
}

void RunMonitor::BeginRun(const FSRef& destination) {
  destination_ = StringWithFSRef(&destination).value_or("");
  if (const std::optional<std::string> problem = DescribeInvalidKind()) {
    RefuseSource(source_, *problem);
  }
  totals_.emplace();
  start_ = std::chrono::steady_clock::now();
}

void RunMonitor::EndRun(bool isLast) {
  const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - start_;
  const ItemCounts counts = totals_->OfSource();
  const ItemCounts others = totals_->OfDestination();
  totals_.reset();
  NSLog(SummaryLine(counts, duration.count()));
  system_->Reports().ShowRunEnd({.source = NameIn(source_),
                                 .destination = NameIn(destination_),
                                 .filed = counts.filed,
                                 .failed = counts.failed + others.failed,
                                 .total = counts.filed + counts.skipped + counts.failed +
                                          others.filed + others.skipped + others.failed,
                                 .seconds = duration.count(),
                                 .isLast = isLast});
}

void RunMonitor::RefuseSource(const std::string& path, const std::string& problem) {
  const std::string object = path.empty() ? kUnknownItem : path;
  LogFailure(object, problem);
  system_->Reports().ShowSourceProblem(NameIn(object), problem);
}

// An item that cannot be counted or named for lack of memory is still filed.
void RunMonitor::ObserveItem(const ItemReport& report) try {
  if (totals_) totals_->Count(report);
  if (report.outcome == ItemOutcome::kNoRun) {
    RefuseSource(std::string(report.path), DescribeProblem(report));
  } else if (IsNamedByLog(report.outcome)) {
    system_->Reports().MarkFailure(DescribeProblem(report));
  } else if (IsFailure(report.outcome)) {
    const std::string path(report.path.empty() ? source_ : report.path);
    LogFailure(path, DescribeProblem(report));
  }
} catch (const std::bad_alloc&) {
  NSLog("out of memory: the totals are incomplete");
}

void RunMonitor::LogFailure(const std::string& object, const std::string& problem) {
  NSLog(object + ": " + problem);
  system_->Reports().MarkFailure(problem);
}

}  // namespace tessary
