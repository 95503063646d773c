#include "bench/report.h"

#include <sys/utsname.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <thread>
#include <utility>

namespace tessary::bench {
namespace {

std::string Verdict(const Row& row) {
  if (!row.skipped.empty()) return "not measured: " + row.skipped;
  if (row.limit == 0) return "";
  return row.value.median <= row.limit ? "met" : "**missed**";
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
  std::cout << ' ' << Verdict(row) << (row.figures.empty() ? "" : "; ") << row.figures << std::endl;
  rows_.push_back(std::move(row));
}

void Report::AddSkipped(Row row, std::string why) {
  row.skipped = std::move(why);
  Add(std::move(row));
}

void Report::Write(std::ostream& out, const std::string& machine, const std::string& commit,
                   const std::map<std::string, std::string>& reasons) const {
  out << "# Performance\n\n"
         "This page was written by `make bench`. Release builds are timed as whole processes, "
         "with\n"
         "their log going to a file, alternating with each baseline in its own fresh directory. A\n"
         "ratio is the figure of Tessary divided by that of the baseline in the same round; the\n"
         "table shows the median of the rounds, the minimum and the maximum. A ratio below 1 "
         "means\n"
         "that Tessary is faster.\n\n"
         "To repeat the measurements, run `make bench` on an idle machine.\n"
         "[bench/README.md](../bench/README.md) describes each measurement, and how to choose the\n"
         "filesystem, the sizes and the number of rounds.\n\n"
      << "- Machine: " << machine << "\n- Commit: " << commit << "\n- Date: " << Today() << "\n\n"
      << "| Work | Baseline | Limit | Measured | Result | Figures |\n|---|---|---|---|---|---|\n";
  for (const Row& row : rows_) {
    out << "| " << row.work << " | " << row.baseline << " | "
        << (row.limit == 0 ? "" : WithUnit(row.limit, row.unit)) << " | " << Value(row) << " | "
        << Verdict(row) << " | " << row.figures << " |\n";
  }
  out << "\n## Reasons for missed limits\n\n";
  bool isAnyMissed = false;
  for (const Row& row : rows_) {
    if (row.limit == 0 || !row.skipped.empty() || row.value.median <= row.limit) continue;
    isAnyMissed = true;
    const auto reason = reasons.find(row.key);
    out << "- **" << row.work << "** (`" << row.key
        << "`): " << (reason == reasons.end() ? "no reason is given." : reason->second) << "\n";
  }
  if (!isAnyMissed) out << "All limits were met.\n";
}

std::map<std::string, std::string> ReadReasons(const std::string& path) {
  std::ifstream file(path);
  Require(file.is_open(), "cannot read " + path);
  std::map<std::string, std::string> reasons;
  std::string* reason = nullptr;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("## ")) {
      reason = &reasons[line.substr(3)];
    } else if (reason != nullptr && !line.empty()) {
      *reason += (reason->empty() ? "" : " ") + line;
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

std::string MicrosecondsText(const Candidate& first, const Candidate& second, size_t items) {
  const double scale = 1e6 / static_cast<double>(items);
  return NumberText(Median(first.figures) * scale) + " µs vs. " +
         NumberText(Median(second.figures) * scale) + " µs per item";
}

std::string MillisecondsText(const Candidate& first, const Candidate& second) {
  return NumberText(Median(first.figures) * 1e3) + " ms vs. " +
         NumberText(Median(second.figures) * 1e3) + " ms";
}

}  // namespace tessary::bench
