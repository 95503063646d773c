#include "programs/cli/item_records.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "programs/cli/failure_report.h"
#include "programs/cli/json_bytes.h"

namespace tessary {
namespace {

using Json = nlohmann::ordered_json;

// The last component of the key folder's path or, for a day folder, the last two.
std::string KeyOf(const ItemReport& report) {
  const std::string_view path = report.folderPath;
  size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  if (report.step == FilingStep::kDay && slash > 0) slash = path.rfind('/', slash - 1);
  return std::string(path.substr(slash + 1));
}

ItemRecord RecordOf(const ItemReport& report) {
  return {.source = std::string(report.path),
          .target = NewPathOf(report),
          .key = KeyOf(report),
          .outcome = report.outcome,
          .reason = IsFailure(report.outcome) ? DescribeCause(report) : std::string(),
          .size = report.size,
          .isCopy = report.isCopy};
}

// Adds what the earlier step of an item has done to the record of the later one.
void AddEarlierStep(const ItemRecord& earlier, ItemRecord* record) {
  record->source = earlier.source;
  record->size = earlier.size;
  record->isCopy = earlier.isCopy;
  if (record->target.empty()) record->target = earlier.target;
  if (record->key.empty()) record->key = earlier.key;
  if (earlier.outcome != ItemOutcome::kCommentNotCopied) return;
  record->outcome = earlier.outcome;
  record->reason = earlier.reason;
}

std::string_view NameOf(ItemOutcome outcome) {
  if (IsFailure(outcome)) return "failed";
  return outcome == ItemOutcome::kSkipped ? "skipped" : "filed";
}

// Null for an item that was not to be moved or copied.
Json OperationOf(const ItemRecord& record) {
  const bool isTransferred = record.outcome == ItemOutcome::kFiled ||
                             record.outcome == ItemOutcome::kNotTransferred ||
                             record.outcome == ItemOutcome::kCommentNotCopied;
  if (!isTransferred) return nullptr;
  return record.isCopy ? "copy" : "move";
}

}  // namespace

ItemRecords::ItemRecords(Use use) : use_(std::move(use)) {}

void ItemRecords::Add(const ItemReport& report) {
  const bool isUnlisted = report.outcome == ItemOutcome::kFolderNotListed;
  if (isUnlisted && !unlistedFolders_.emplace(report.path).second) return;
  // The pass over the folder around it reports a folder that cannot be read once more.
  if (report.outcome == ItemOutcome::kNotRead &&
      unlistedFolders_.contains(std::string(report.path))) {
    return;
  }
  if (report.step == FilingStep::kDay) return AddDayStep(report);
  ItemRecord record = RecordOf(report);
  if (report.step == FilingStep::kOnly) return use_(record);
  // Nothing was moved, but the day step will move it.
  if (report.outcome == ItemOutcome::kSkipped && !report.folderPath.empty()) {
    record.outcome = ItemOutcome::kFiled;
    record.target = record.source;
    record.isCopy = false;
  }
  if (record.target.empty()) return use_(record);
  const std::string path = record.target;
  Keep(path, std::move(record));
}

void ItemRecords::AddDayStep(const ItemReport& report) {
  ItemRecord record = RecordOf(report);
  const auto earlier = unfinished_.find(record.source);
  const std::string path = record.source;
  if (earlier != unfinished_.end()) {
    AddEarlierStep(earlier->second, &record);
    unfinished_.erase(earlier);
  }
  if (report.outcome == ItemOutcome::kFiled) return use_(record);
  Keep(path, std::move(record));
}

void ItemRecords::Keep(const std::string& path, ItemRecord record) {
  const auto [entry, isNew] = unfinished_.try_emplace(path);
  // Another item that stayed under this path was replaced.
  if (!isNew) use_(entry->second);
  entry->second = std::move(record);
}

void ItemRecords::Finish() {
  for (const auto& [path, record] : unfinished_) use_(record);
  unfinished_.clear();
}

Json JsonOfRecord(const ItemRecord& record) {
  const auto text = [](const std::string& bytes) {
    return bytes.empty() ? Json() : Json(JsonFromBytes(bytes));
  };
  return {{"source", text(record.source)},   {"target", text(record.target)},
          {"key", text(record.key)},         {"outcome", NameOf(record.outcome)},
          {"reason", text(record.reason)},   {"size", record.size ? Json(*record.size) : Json()},
          {"operation", OperationOf(record)}};
}

}  // namespace tessary
