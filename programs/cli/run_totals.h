#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "engine/shell.h"

namespace tessary {

// What became of the items of a run, each counted once.
class RunTotals {
 public:
  void Count(const std::string& path, ItemOutcome outcome);

  uint64_t filed() const { return filed_; }
  uint64_t left() const;  // passed over: without a key, or in place already
  uint64_t failed() const;

 private:
  uint64_t filed_ = 0;
  uint64_t skipped_ = 0;
  uint64_t failed_ = 0;
  // The folders that could not be listed and the items that stay in year folders, of which a run
  // tells again and again, and whether the last word was that they failed.
  std::unordered_map<std::string, bool> failedByPath_;
};

// The line that ends a run, without its newline: "12034 filed, 41 left, 3 failed, 4.2 secs".
std::string SummaryLine(const RunTotals& tally, double seconds);

}  // namespace tessary
