#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bench/measurement.h"

namespace tessary::bench {

// The question that a measurement answers. The page has a section and a table for each.
enum class Question { kTime, kGrowth, kCost };

// One measurement.
struct Row {
  Question question = Question::kTime;
  std::string key = {};       // identifies the row in the file of reasons: "copy-small-ext4"
  std::string work = {};      // the work, its amount and the filesystem
  std::string baseline = {};  // the baseline; empty: none
  double limit = 0;           // the limit of the value; 0: none
  std::string unit = {};      // of value and limit; empty for a ratio
  std::string skipped = {};   // why it could not be measured; empty if it was measured
  Ratio value = {};           // median, minimum and maximum
  std::string own = {};       // the figure of Tessary
  std::string other = {};     // that of the baseline
};

// The time per item of several programs that did the same work, for a plot. A program's name in the
// table may have options; here it is short.
struct Times {
  std::string work;
  std::vector<std::pair<std::string, double>> microseconds;  // by program
};

// A reason for missed limits.
struct Reason {
  std::vector<std::string> keys;  // patterns of fnmatch(3) for the keys of rows
  std::string text;
};

class Report {
 public:
  // Adds a row and writes it to standard output.
  void Add(Row row);

  // Adds a row that was not measured.
  void AddSkipped(Row row, std::string why);

  // Adds times to the plot of times, and to the plot of growth.
  void AddTimes(Times times) { times_.push_back(std::move(times)); }
  void AddGrowth(size_t items, double microseconds) { growth_[items] = microseconds; }

  // Writes the page with the tables. A reason is written once, for all rows that miss their limit
  // and that it explains.
  void Write(std::ostream& out, const std::string& machine, const std::string& commit,
             const std::vector<Reason>& reasons) const;

  // Writes the data of the plots, in the format that bench/plots.gnuplot reads.
  void WriteTimes(std::ostream& out) const;
  void WriteGrowth(std::ostream& out) const;

 private:
  void WriteTable(std::ostream& out, Question question, const std::vector<Reason>& reasons) const;

  std::vector<Row> rows_;
  std::vector<Times> times_;
  std::map<size_t, double> growth_;
};

// Reads the reasons: a line "## KEY KEY..." followed by the text. Throws if the file cannot be
// read.
std::vector<Reason> ReadReasons(const std::string& path);

// Returns the processor, memory and kernel of this machine.
std::string DescribeMachine();

// Formats a number with about three significant digits: "0.94", "12.3", "1234".
std::string NumberText(double number);

// Returns the median of a candidate's seconds, in microseconds per item.
double MedianMicroseconds(const Candidate& candidate, size_t items);

// Sets the figures of a row to the medians of two candidates: "18.2 µs/item" or, for work without
// items, "4.05 ms".
void SetMicroseconds(const Candidate& own, const Candidate& other, size_t items, Row* row);
void SetMilliseconds(const Candidate& own, const Candidate& other, Row* row);

// Formats a count: "100,000".
std::string CountText(size_t count);

}  // namespace tessary::bench
