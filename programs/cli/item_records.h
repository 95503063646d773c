#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "engine/shell.h"

namespace tessary {

// What became of one item in the end.
struct ItemRecord {
  std::string source = {};  // the path before the run; empty if memory is exhausted
  std::string target = {};  // the path after it; empty if the run neither moved nor copied the item
  std::string key = {};     // the name of its key folder; empty if it has none
  ItemOutcome outcome = ItemOutcome::kFiled;
  std::string reason = {};            // why it failed, as DescribeCause returns it; else empty
  std::optional<uint64_t> size = {};  // ItemReport::size
  bool isCopy = false;
};

// Makes one record of each item from the reports of a run. A run by date reports an item for each
// step, some repeatedly; the record has the path before the first step, the path after the last,
// and the names of the folders of the year and of the day with "/" between them. Records are made
// for the items that RunTotals counts.
class ItemRecords {
 public:
  using Use = std::function<void(const ItemRecord& record)>;

  // `use` receives each record as soon as the run will not report the item again.
  explicit ItemRecords(Use use);

  void Add(const ItemReport& report);

  // Passes on the records of the items that stay in year folders. Call it when the run has ended.
  void Finish();

 private:
  void AddDayStep(const ItemReport& report);
  void Keep(const std::string& path, ItemRecord record);

  Use use_;
  std::unordered_set<std::string> unlistedFolders_;  // reported repeatedly
  // The items that the day step will report, or report again if they are not filed, by their
  // present path. No more than those of one folder, and those that stay in year folders.
  std::unordered_map<std::string, ItemRecord> unfinished_;
};

// The members of the object that "aggregate --json" prints for an item.
nlohmann::ordered_json JsonOfRecord(const ItemRecord& record);

}  // namespace tessary
