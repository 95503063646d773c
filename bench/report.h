#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "bench/measurement.h"

namespace tessary::bench {

// One measurement.
struct Row {
  std::string key = {};       // identifies the row in the file of reasons: "copy-small-ext4"
  std::string work = {};      // the work, its amount and the filesystem
  std::string baseline = {};  // the baseline; empty: none
  double limit = 0;           // the limit of the value; 0: none
  std::string unit = {};      // of value and limit; empty for a ratio
  std::string skipped = {};   // why it could not be measured; empty if it was measured
  Ratio value = {};           // median, minimum and maximum
  std::string figures = {};   // the figures behind the value
};

class Report {
 public:
  // Adds a row and writes it to standard output.
  void Add(Row row);

  // Adds a row that was not measured.
  void AddSkipped(Row row, std::string why);

  // Writes the page with the table. `reasons` maps the key of a row to the reason for a missed
  // limit.
  void Write(std::ostream& out, const std::string& machine, const std::string& commit,
             const std::map<std::string, std::string>& reasons) const;

 private:
  std::vector<Row> rows_;
};

// Reads the reasons: a line "## KEY" followed by the text. Throws if the file cannot be read.
std::map<std::string, std::string> ReadReasons(const std::string& path);

// Returns the processor, memory and kernel of this machine.
std::string DescribeMachine();

// Formats a number with about three significant digits: "0.94", "12.3", "1234".
std::string NumberText(double number);

// Format the medians of two candidates: "18.2 µs vs. 14.1 µs per item", for `items` items, and
// "4.05 ms vs. 1.37 ms" for work without items.
std::string MicrosecondsText(const Candidate& first, const Candidate& second, size_t items);
std::string MillisecondsText(const Candidate& first, const Candidate& second);

}  // namespace tessary::bench
