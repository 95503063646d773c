#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/shell.h"

namespace tessary {

struct ItemCounts {
  uint64_t filed = 0;
  uint64_t skipped = 0;  // without a key, or already in the right folder
  uint64_t failed = 0;   // with the folders that could not be listed
};

// The outcomes of a run's items, each item counted once.
class RunTotals {
 public:
  void Count(const ItemReport& report);

  // The items of the source.
  ItemCounts OfSource() const;

  // The items that a run by date found in the destination's folders, where they were before the
  // run.
  ItemCounts OfDestination() const;

 private:
  // An item that stays in a year folder. A run reports it repeatedly, and may file it in the end.
  struct StuckItem {
    bool isOfSource = false;
    bool hasFailed = false;
  };

  void CountYearStep(const ItemReport& report);
  void CountDayStep(const ItemReport& report);
  ItemCounts CountStuck(bool isOfSource) const;

  ItemCounts source_;
  ItemCounts destination_;                           // without the stuck items
  std::unordered_set<std::string> unlistedFolders_;  // reported repeatedly
  std::unordered_map<std::string, StuckItem> stuckItems_;
  // Hashes of the paths of the items that the year step has filed and the day step has not reported
  // yet: those of one folder. Paths would need as much memory as its listing; two paths with the
  // same hash would be one item miscounted.
  std::unordered_set<size_t> inYearFolders_;
  // Items of the source that the year step has moved or copied and yet counted as failed.
  std::unordered_set<size_t> failedInYearFolders_;
};

// The line that ends a run, without a newline: "12034 filed, 41 skipped, 3 failed in 4.2 s", or of
// a dry run "12034 would be filed, 41 skipped, 3 would fail in 0.4 s".
std::string SummaryLine(const ItemCounts& counts, double seconds, bool isDryRun = false);

// The end of that line for a run that has kept copies whose originals another program had moved or
// deleted meanwhile (FSCountKeptCopies). Empty if there are none.
std::string KeptCopiesText(uint64_t keptCopies);

// The lines for the items that a run by date found in the destination: "17 items that were already
// in the destination were moved into day folders", or "would be moved". Empty if there were none.
std::vector<std::string> DestinationLines(const ItemCounts& counts, bool isDryRun = false);

}  // namespace tessary
