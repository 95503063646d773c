#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "engine/shell.h"

namespace tessary {

// One failure, and why.
struct Failure {
  std::string line;
  std::string cause;
  bool isNamedByLog = false;
};

// The failures of a run. The first ones are printed with a line each, the others are counted.
class FailureList {
 public:
  static constexpr size_t kMaxLines = 20;

  // Adds a failure. If there are too many for a line, and the log does not name it, logs it now.
  void Add(Failure failure);

  // Adds a failure that may be reported again or withdrawn, under its path.
  void AddRepeated(const std::string& path, Failure failure);

  // Removes what AddRepeated has added, if anything.
  void Remove(const std::string& path) { repeated_.erase(path); }

  // Returns one line for each failure. If there are too many, the first ones, then a line with the
  // number of the others, then one for each cause with the number of its failures.
  std::vector<std::string> Lines() const;

 private:
  // Returns true if the failure gets a line.
  bool TakeLine(const Failure& failure);

  size_t linesTaken_ = 0;
  std::vector<std::string> lines_;
  std::map<std::string, uint64_t> countsByCause_;
  struct RepeatedFailure {
    Failure failure;
    bool hasLine = false;
  };
  std::map<std::string, RepeatedFailure> repeated_;  // not in lines_ and countsByCause_
};

// Collects what a run could not do, for its end.
class FailureReport {
 public:
  // Adds the report of an item, if it has failed, or if an existing item could not be replaced.
  void Add(const ItemReport& report);

  // Returns the lines of the failed items and unlisted folders.
  std::vector<std::string> Lines() const { return failures_.Lines(); }

  // Returns the lines of the existing items that could not be replaced.
  std::vector<std::string> KeptItemLines() const { return keptItems_.Lines(); }

 private:
  FailureList failures_;
  FailureList keptItems_;
};

// Returns true if the engine has logged the path of an item with this outcome: one that could not
// be transferred. The log does not name the other failures.
bool IsNamedByLog(ItemOutcome outcome);

// Returns the line for a failure: "PATH: cannot copy to FOLDER: CAUSE".
std::string DescribeFailure(const ItemReport& report);

// Returns why an item failed, in the words of strerror(3) if an errno stands behind the status.
std::string DescribeCause(const ItemReport& report);

// Returns the line for a filed item whose existing namesake could not be replaced.
std::string DescribeKeptItem(const ItemReport& report);

}  // namespace tessary
