#pragma once

#include <cstdint>
#include <string>

#include "engine/shell.h"

namespace tessary {

// What became of the items of a run, counted.
struct Tally {
  uint64_t filed = 0;
  uint64_t left = 0;  // passed over: without a key, or in place already
  uint64_t failed = 0;

  void Count(ItemOutcome outcome);
};

// The line that ends a run, without its newline: "12034 filed, 41 left, 3 failed, 4.2 secs".
std::string SummaryLine(const Tally& tally, double seconds);

}  // namespace tessary
