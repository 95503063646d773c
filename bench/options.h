#pragma once

#include <string>
#include <vector>

namespace tessary::bench {

// How much work is measured.
struct Sizes {
  int rounds = 5;
  size_t moved = 100'000;
  size_t copied = 20'000;
  size_t bigCopied = 200;
  size_t bigBytes = 4 << 20;
  size_t movedAcross = 2'000;
  std::vector<size_t> growth = {10'000, 100'000, 1'000'000};
  size_t depth = 500;
  size_t filesPerLevel = 40;
  size_t wide = 20'000;  // folders, of ten files each
  size_t inPlace = 100'000;
  int starts = 41;
  size_t commented = 10'000;
};

struct Options {
  Sizes sizes;
  std::string folder;               // where users' files lie: the file system measured on
  std::string memory = "/dev/shm";  // the same on a tmpfs
  std::vector<std::string> clones;  // folders on volumes whose files can share blocks
  std::vector<std::string> others;  // folders on other devices, to move from
  std::vector<std::string> groups;  // the measurements wanted; none: all
  std::string report;               // the file that the table is written to; none: nowhere
  std::string reasons;              // the file that tells why a row misses
  std::string commit = "unknown";   // of the product measured
  bool leavesFiles = false;         // on all but the tmpfs, for volumes that go when this is over

  bool Wants(const std::string& group) const;
};

// Reads the command line; on anything that it does not know, says how the program is used and ends
// it with status 2.
Options ReadOptions(int count, char** arguments);

}  // namespace tessary::bench
