#include "programs/cli/failure_report.h"

#include <algorithm>
#include <utility>

#include "platform/managers/item_details.h"
#include "platform/managers/log.h"
#include "programs/cli/messages.h"

namespace tessary {
namespace {

// A FIFO, a socket or a device, which can be moved within a filesystem only.
bool IsSpecialFile(std::string_view path) {
  FSRef item;
  ItemDetails details;
  return FSPathMakeRef(std::string(path).c_str(), &item) == noErr &&
         CopyItemDetails(item, &details) == noErr && details.kind == ItemKind::kSpecial;
}

std::string Join(std::string_view folder, std::string_view name) {
  return std::string(folder) + (folder.ends_with('/') ? "" : "/") + std::string(name);
}

std::string NameOf(std::string_view path) { return std::string(path.substr(path.rfind('/') + 1)); }

// A run reports these once for each attempt.
bool IsRepeated(const ItemReport& report) {
  return report.outcome == ItemOutcome::kFolderNotListed || report.step == FilingStep::kDay;
}

std::string CauseOfStatus(Status status) {
  switch (status) {
    case fnfErr:
      return "Removed or replaced during the run";
    case fBsyErr:
      return "Busy, or another program is writing to it";
    default:
      return DescribeStatus(status);
  }
}

std::string CauseOfKeptItem(Status status) {
  return status == fBsyErr ? "it is a folder that is not empty" : DescribeStatus(status);
}

}  // namespace

bool IsNamedByLog(ItemOutcome outcome) {
  return outcome == ItemOutcome::kNotTransferred || outcome == ItemOutcome::kCommentNotCopied;
}

std::string DescribeCause(const ItemReport& report) {
  if (report.status == paramErr && report.outcome == ItemOutcome::kNotTransferred &&
      IsSpecialFile(report.path)) {
    return "Not a regular file";
  }
  return CauseOfStatus(report.status);
}

std::string DescribeFailure(const ItemReport& report) {
  const bool isFolder = report.outcome == ItemOutcome::kFolderNotListed;
  std::string line =
      report.path.empty() ? (isFolder ? "a folder" : "an item") : std::string(report.path);
  const std::string folder(report.folderPath);
  switch (report.outcome) {
    case ItemOutcome::kFolderNotListed:
      line += ": contents not filed: cannot list the folder";
      break;
    case ItemOutcome::kNoKeyFolder:
      line += ": cannot create " + folder;
      break;
    case ItemOutcome::kNotTransferred:
      line += report.isCopy ? ": cannot copy to " : ": cannot move to ";
      line += folder.empty() ? "its folder" : folder;
      break;
    case ItemOutcome::kCommentNotCopied:
      line += (report.isCopy ? ": copied to " : ": moved to ") + NewPathOf(report) +
              " without its comment";
      break;
    default:
      line += ": cannot read";
  }
  return line + ": " + DescribeCause(report);
}

std::string DescribeKeptItem(const ItemReport& report) {
  return Join(report.folderPath, NameOf(report.path)) +
         ": cannot be replaced: " + CauseOfKeptItem(report.replace) + "; " +
         std::string(report.path) + " is now " + NewPathOf(report);
}

bool FailureList::TakeLine(const Failure& failure) {
  if (linesTaken_ < kMaxLines) {
    ++linesTaken_;
    return true;
  }
  if (!failure.isNamedByLog) NSLog(failure.line);
  return false;
}

void FailureList::Add(Failure failure) {
  ++countsByCause_[failure.cause];
  if (TakeLine(failure)) lines_.push_back(std::move(failure.line));
}

void FailureList::AddRepeated(const std::string& path, Failure failure) {
  const auto known = repeated_.find(path);
  const bool hasLine = known != repeated_.end() ? known->second.hasLine : TakeLine(failure);
  repeated_[path] = {std::move(failure), hasLine};
}

std::vector<std::string> FailureList::Lines() const {
  std::vector<std::string> lines = lines_;
  std::map<std::string, uint64_t> countsByCause = countsByCause_;
  for (const auto& [path, repeated] : repeated_) {
    ++countsByCause[repeated.failure.cause];
    if (repeated.hasLine) lines.push_back(repeated.failure.line);
  }
  uint64_t total = 0;
  std::vector<std::pair<uint64_t, std::string>> causes;
  for (const auto& [cause, count] : countsByCause) {
    total += count;
    causes.emplace_back(count, cause);
  }
  if (total <= lines.size()) return lines;
  lines.push_back("and " + std::to_string(total - lines.size()) + " more: see the log");
  std::ranges::stable_sort(causes, [](const auto& a, const auto& b) { return a.first > b.first; });
  for (const auto& [count, cause] : causes) lines.push_back(std::to_string(count) + " × " + cause);
  return lines;
}

void FailureReport::Add(const ItemReport& report) {
  if (IsFailure(report.outcome)) {
    Failure failure = {DescribeFailure(report), DescribeCause(report),
                       IsNamedByLog(report.outcome)};
    if (IsRepeated(report)) {
      failures_.AddRepeated(std::string(report.path), std::move(failure));
    } else {
      failures_.Add(std::move(failure));
    }
  } else if (report.step == FilingStep::kDay) {
    // An item that failed in its year folder may be filed when the run visits the folder again.
    failures_.Remove(std::string(report.path));
  }
  if (report.outcome == ItemOutcome::kFiled && report.replace != noErr) {
    keptItems_.Add({DescribeKeptItem(report), CauseOfKeptItem(report.replace)});
  }
}

}  // namespace tessary
