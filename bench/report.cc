#include "bench/report.h"

#include <fnmatch.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <thread>
#include <utility>

namespace tessary::bench {
namespace {

bool IsMissed(const Row& row) {
  return row.skipped.empty() && row.limit != 0 && row.value.median > row.limit;
}

std::string Verdict(const Row& row) {
  if (!row.skipped.empty()) return "not measured: " + row.skipped;
  if (row.limit == 0) return "";
  return IsMissed(row) ? "**missed**" : "met";
}

bool Explains(const Reason& reason, const Row& row) {
  return std::any_of(reason.keys.begin(), reason.keys.end(), [&row](const std::string& key) {
    return fnmatch(key.c_str(), row.key.c_str(), 0) == 0;
  });
}

// A picture that follows the reader's theme.
void WritePicture(std::ostream& out, const std::string& name, const std::string& description) {
  out << "<picture>\n  <source media=\"(prefers-color-scheme: dark)\" srcset=\"images/" << name
      << "-dark.svg\">\n  <img src=\"images/" << name << "-light.svg\" alt=\"" << description
      << "\">\n</picture>\n\n";
}

std::string WithUnit(double number, const std::string& unit) {
  return unit.empty() ? NumberText(number) : NumberText(number) + " " + unit;
}

std::string Value(const Row& row) {
  if (!row.skipped.empty()) return "";
  std::string text = WithUnit(row.value.median, row.unit);
  if (row.value.minimum != row.value.maximum) {
    text += " (" + NumberText(row.value.minimum) + " to " + NumberText(row.value.maximum) + ")";
  }
  return text;
}

// Returns the name of the processor.
std::string ProcessorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    const size_t colon = line.find(": ");
    if (line.starts_with("model name") && colon != std::string::npos) return line.substr(colon + 2);
  }
  return "unknown processor";
}

std::string MemoryText() {
  std::ifstream file("/proc/meminfo");
  std::string name;
  double kilobytes = 0;
  file >> name >> kilobytes;
  return NumberText(kilobytes / 1024 / 1024) + " GiB of memory";
}

std::string Today() {
  const std::time_t now = std::time(nullptr);
  std::array<char, 32> text = {};
  (void)std::strftime(text.data(), text.size(), "%Y-%m-%d", std::localtime(&now));
  return text.data();
}

}  // namespace

void Report::Add(Row row) {
  std::cout << row.work << (row.baseline.empty() ? "" : " / ") << row.baseline << ": "
            << Value(row);
  if (row.limit != 0) std::cout << ", limit " << WithUnit(row.limit, row.unit);
  std::cout << ' ' << Verdict(row) << (row.own.empty() ? "" : "; ") << row.own
            << (row.other.empty() ? "" : ", ") << row.other << std::endl;
  rows_.push_back(std::move(row));
}

void Report::AddSkipped(Row row, std::string why) {
  row.skipped = std::move(why);
  Add(std::move(row));
}

void Report::Write(std::ostream& out, const std::string& machine, const std::string& commit,
                   const std::vector<Reason>& reasons) const {
  out << "# Performance\n\n"
         "Written by `make bench`: commit "
      << commit << ", " << Today() << ", " << machine
      << ".\n\n"
         "## How long does it take?\n\n"
         "The ratio is the time of Tessary divided by that of the other program in the same "
         "round:\n"
         "the median of the rounds, the smallest and the largest. Below 1, Tessary is faster.\n"
         "Whole processes are timed. `mv`, `cp` and `rsync` sort nothing: they get the names, or "
         "move\n"
         "everything into one folder.\n\n";
  WritePicture(out, "performance-times", "Time per item of Tessary, mv or cp, and rsync");
  WriteTable(out, Question::kTime, reasons);
  out << "## How does it grow?\n\n";
  WritePicture(out, "performance-growth", "Time per item for up to a million files");
  WriteTable(out, Question::kGrowth, reasons);
  out << "## What does it cost?\n\n";
  WriteTable(out, Question::kCost, reasons);
  out << "## How to repeat it\n\n"
         "Run `make bench` on an idle machine; it takes about a quarter of an hour and 10 GB in "
         "the\n"
         "temporary folder. [bench/README.md](../bench/README.md) describes each measurement, and "
         "how\n"
         "to choose the filesystems, the sizes and the number of rounds.\n\n";
}

void Report::WriteTable(std::ostream& out, Question question,
                        const std::vector<Reason>& reasons) const {
  out << "| Work | Tessary | Compared with | Its figure | Ratio or value | At most | Result |\n"
         "|---|---|---|---|---|---|---|\n";
  std::vector<Row> missed;
  for (const Row& row : rows_) {
    if (row.question != question) continue;
    if (IsMissed(row)) missed.push_back(row);
    out << "| " << row.work << " | " << row.own << " | " << row.baseline << " | " << row.other
        << " | " << Value(row) << " | " << (row.limit == 0 ? "" : WithUnit(row.limit, row.unit))
        << " | " << Verdict(row) << " |\n";
  }
  if (!missed.empty()) out << "\nWhy limits are missed:\n\n";
  for (const Reason& reason : reasons) {
    const auto explained = [&reason](const Row& row) { return Explains(reason, row); };
    if (std::none_of(missed.begin(), missed.end(), explained)) continue;
    out << "- " << reason.text << "\n";
    std::erase_if(missed, explained);
  }
  for (const Row& row : missed) out << "- " << row.work << ": the cause is unknown.\n";
  out << "\n";
}

void Report::WriteTimes(std::ostream& out) const {
  const char* separator = "";
  for (const Times& times : times_) {
    out << std::exchange(separator, "\n\n");
    for (const auto& [program, microseconds] : times.microseconds) {
      out << '"' << times.work << "\" \"" << program << "\" " << microseconds << '\n';
    }
  }
}

void Report::WriteGrowth(std::ostream& out) const {
  for (const auto& [items, microseconds] : growth_) out << items << ' ' << microseconds << '\n';
}

std::vector<Reason> ReadReasons(const std::string& path) {
  std::ifstream file(path);
  Require(file.is_open(), "cannot read " + path);
  std::vector<Reason> reasons;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("## ")) {
      std::istringstream keys(line.substr(3));
      reasons.push_back({{std::istream_iterator<std::string>(keys), {}}, {}});
    } else if (!reasons.empty() && !line.empty()) {
      std::string& text = reasons.back().text;
      text += (text.empty() ? "" : " ") + line;
    }
  }
  return reasons;
}

std::string DescribeMachine() {
  utsname system = {};
  Require(uname(&system) == 0, "uname");
  return std::to_string(std::thread::hardware_concurrency()) + " x " + ProcessorName() + ", " +
         MemoryText() + ", " + system.sysname + " " + system.release + " " + system.machine;
}

std::string NumberText(double number) {
  std::array<char, 32> text = {};
  const int digits = number < 10 ? 2 : number < 100 ? 1 : 0;
  (void)std::snprintf(text.data(), text.size(), "%.*f", digits, number);
  return text.data();
}

double MedianMicroseconds(const Candidate& candidate, size_t items) {
  return Median(candidate.figures) * 1e6 / static_cast<double>(items);
}

void SetMicroseconds(const Candidate& own, const Candidate& other, size_t items, Row* row) {
  row->own = NumberText(MedianMicroseconds(own, items)) + " µs/item";
  row->other = NumberText(MedianMicroseconds(other, items)) + " µs/item";
}

void SetMilliseconds(const Candidate& own, const Candidate& other, Row* row) {
  row->own = NumberText(Median(own.figures) * 1e3) + " ms";
  row->other = NumberText(Median(other.figures) * 1e3) + " ms";
}

std::string CountText(size_t count) {
  std::string text = std::to_string(count);
  for (size_t at = text.size(); at > 3; at -= 3) text.insert(at - 3, 1, ',');
  return text;
}

}  // namespace tessary::bench
