#include "programs/cli/run_totals.h"

#include <functional>
#include <string_view>

#include "programs/cli/messages.h"

namespace tessary {
namespace {

void Add(ItemOutcome outcome, ItemCounts* counts) {
  if (IsFailure(outcome)) {
    ++counts->failed;
  } else if (outcome == ItemOutcome::kSkipped) {
    ++counts->skipped;
  } else {
    ++counts->filed;
  }
}

size_t HashOf(std::string_view path) { return std::hash<std::string_view>()(path); }

}  // namespace

void RunTotals::Count(const ItemReport& report) {
  // The pass over the folder around it reports a folder that cannot be read once more.
  const bool isCounted = report.outcome == ItemOutcome::kNotRead &&
                         unlistedFolders_.contains(std::string(report.path));
  if (isCounted) return;
  if (report.outcome == ItemOutcome::kFolderNotListed) {
    unlistedFolders_.emplace(report.path);
  } else if (report.step == FilingStep::kYear) {
    CountYearStep(report);
  } else if (report.step == FilingStep::kDay) {
    CountDayStep(report);
  } else {
    Add(report.outcome, &source_);
  }
}

void RunTotals::CountYearStep(const ItemReport& report) {
  const bool isInPlace = report.outcome == ItemOutcome::kSkipped && !report.folderPath.empty();
  if (!isInPlace && report.outcome != ItemOutcome::kFiled) {
    Add(report.outcome, &source_);
    if (report.outcome == ItemOutcome::kCommentNotCopied) {
      failedInYearFolders_.insert(HashOf(NewPathOf(report)));
    }
    return;
  }
  ++source_.filed;
  inYearFolders_.insert(isInPlace ? HashOf(report.path) : HashOf(NewPathOf(report)));
}

void RunTotals::CountDayStep(const ItemReport& report) {
  if (!failedInYearFolders_.empty() && failedInYearFolders_.contains(HashOf(report.path))) return;
  bool isOfSource = inYearFolders_.erase(HashOf(report.path)) != 0;
  const auto stuck = stuckItems_.find(std::string(report.path));
  if (stuck != stuckItems_.end()) isOfSource = stuck->second.isOfSource;
  if (report.outcome != ItemOutcome::kFiled) {
    stuckItems_[std::string(report.path)] = {isOfSource, IsFailure(report.outcome)};
    return;
  }
  if (stuck != stuckItems_.end()) stuckItems_.erase(stuck);
  // The year step has counted an item of the source.
  if (!isOfSource) ++destination_.filed;
}

ItemCounts RunTotals::CountStuck(bool isOfSource) const {
  ItemCounts counts;
  for (const auto& [path, item] : stuckItems_) {
    if (item.isOfSource == isOfSource) ++(item.hasFailed ? counts.failed : counts.skipped);
  }
  return counts;
}

ItemCounts RunTotals::OfSource() const {
  const ItemCounts stuck = CountStuck(/*isOfSource=*/true);
  ItemCounts counts = source_;
  counts.filed -= stuck.skipped + stuck.failed;
  counts.skipped += stuck.skipped;
  counts.failed += stuck.failed + unlistedFolders_.size();
  return counts;
}

ItemCounts RunTotals::OfDestination() const {
  ItemCounts counts = CountStuck(/*isOfSource=*/false);
  counts.filed += destination_.filed;
  return counts;
}

std::vector<std::string> DestinationLines(const ItemCounts& counts, bool isDryRun) {
  const auto withCount = [isDryRun](uint64_t count, bool isMoved) {
    const std::string was = count == 1 ? "was" : "were";
    const std::string verb = isDryRun ? std::string(isMoved ? "would be" : "would not be")
                                      : was + (isMoved ? "" : " not");
    const std::string subject = std::to_string(count) + (count == 1 ? " item" : " items") +
                                " that " + was + " already in the destination ";
    return subject + verb + " moved into" + (count == 1 ? " a day folder" : " day folders");
  };
  std::vector<std::string> lines;
  if (counts.filed > 0) lines.push_back(withCount(counts.filed, /*isMoved=*/true));
  if (counts.failed > 0) lines.push_back(withCount(counts.failed, /*isMoved=*/false));
  return lines;
}

std::string SummaryLine(const ItemCounts& counts, double seconds, bool isDryRun) {
  return std::to_string(counts.filed) + (isDryRun ? " would be filed, " : " filed, ") +
         std::to_string(counts.skipped) + " skipped, " + std::to_string(counts.failed) +
         (isDryRun ? " would fail in " : " failed in ") + DecimalText(seconds) + " s";
}

std::string KeptCopiesText(uint64_t keptCopies) {
  if (keptCopies == 0) return {};
  return "; " + std::to_string(keptCopies) +
         " of the filed items may exist twice, because another program moved or deleted the "
         "originals";
}

}  // namespace tessary
