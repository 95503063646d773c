#pragma once

#include <string>
#include <vector>

namespace tessary::bench {

// The number and size of files in each measurement.
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
  size_t wide = 20'000;  // folders with ten files each
  size_t inPlace = 100'000;
  int starts = 41;
  size_t commented = 10'000;
  std::vector<size_t> inWindow = {2'000, 20'000, 100'000};
};

struct Options {
  Sizes sizes;
  std::string folder;               // on the filesystem to measure
  std::string memory = "/dev/shm";  // on a tmpfs
  std::vector<std::string> clones;  // folders on filesystems with reflinks
  std::vector<std::string> others;  // folders on other devices, to move from
  std::vector<std::string> groups;  // the selected groups; empty: all
  std::string report;               // the file for the page; empty: no file
  std::string plots;                // the folder for the data of the plots; empty: none
  std::string reasons;              // the file with the reasons for missed limits
  std::string commit = "unknown";   // the version that is measured
  bool keepsFiles = false;          // do not delete the files at the end, except on the tmpfs

  bool Wants(const std::string& group) const;
};

// Parses the command line. On an error, prints the usage and exits with status 2.
Options ReadOptions(int count, char** arguments);

}  // namespace tessary::bench
