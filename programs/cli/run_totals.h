#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "engine/shell.h"

namespace tessary {

// The outcomes of a run's items, each item counted once.
class RunTotals {
 public:
  void Count(const std::string& path, ItemOutcome outcome);

  uint64_t filed() const { return filed_; }
  uint64_t skipped() const;  // without a key, or already in the right folder
  uint64_t failed() const;

 private:
  uint64_t filed_ = 0;
  uint64_t skipped_ = 0;
  uint64_t failed_ = 0;
  // Folders that could not be listed, and items that stay in year folders. A run reports these
  // repeatedly; the value is whether the last outcome was a failure.
  std::unordered_map<std::string, bool> failedByPath_;
};

// The line that ends a run, without a newline: "12034 filed, 41 skipped, 3 failed in 4.2 s".
std::string SummaryLine(const RunTotals& totals, double seconds);

}  // namespace tessary
