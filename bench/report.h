#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "bench/measurement.h"

namespace tessary::bench {

// One thing measured.
struct Row {
  std::string key = {};      // names the row in the file of reasons: "copy-small-ext4"
  std::string work = {};     // what was done, how often, and on which file system
  std::string against = {};  // whom it was measured against; empty: against nobody
  double limit = 0;          // the most that the value may be; 0: it has no limit
  std::string unit = {};     // of value and limit; empty for a ratio
  std::string skipped = {};  // why it could not be measured; empty where it was
  Ratio value = {};          // median, least and greatest
  std::string figures = {};  // what the value was made of
};

class Report {
 public:
  // Adds a row and writes it to standard output.
  void Add(Row row);

  // Adds a row that was not measured.
  void AddSkipped(Row row, std::string why);

  // Writes the whole table with what it belongs to. `reasons` has the text for each key of a row
  // that misses its limit.
  void Write(std::ostream& out, const std::string& machine, const std::string& commit,
             const std::map<std::string, std::string>& reasons) const;

 private:
  std::vector<Row> rows_;
};

// Reads the reasons: a line "## KEY" and below it the text. Throws where the file cannot be read.
std::map<std::string, std::string> ReadReasons(const std::string& path);

// Processor, kernel and memory of this machine.
std::string DescribeMachine();

// A number with as many digits as its size deserves: "0.94", "12.3", "1234".
std::string NumberText(double number);

// The medians of two candidates: "18.2 µs against 14.1 µs an item", for `items` items, and "4.05
// ms against 1.37 ms" for work without items.
std::string MicrosecondsText(const Candidate& first, const Candidate& second, size_t items);
std::string MillisecondsText(const Candidate& first, const Candidate& second);

}  // namespace tessary::bench
