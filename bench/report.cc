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
  return row.value.median <= row.limit ? "reached" : "**missed**";
}

std::string WithUnit(double number, const std::string& unit) {
  return unit.empty() ? NumberText(number) : NumberText(number) + " " + unit;
}

std::string Value(const Row& row) {
  if (!row.skipped.empty()) return "";
  std::string text = WithUnit(row.value.median, row.unit);
  if (row.value.least != row.value.greatest) {
    text += " (" + NumberText(row.value.least) + " to " + NumberText(row.value.greatest) + ")";
  }
  return text;
}

// The processor as the kernel names it.
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
  std::cout << row.work << (row.against.empty() ? "" : " / ") << row.against << ": " << Value(row);
  if (row.limit != 0) std::cout << ", at most " << WithUnit(row.limit, row.unit);
  std::cout << ' ' << Verdict(row) << (row.figures.empty() ? "" : "; ") << row.figures << std::endl;
  rows_.push_back(std::move(row));
}

void Report::AddSkipped(Row row, std::string why) {
  row.skipped = std::move(why);
  Add(std::move(row));
}

void Report::Write(std::ostream& out, const std::string& machine, const std::string& commit,
                   const std::map<std::string, std::string>& reasons) const {
  out << "# What has been measured\n\n"
         "`make bench` wrote this page. The product was built as a release and timed as a whole\n"
         "process with its log going to a file, and each rival on ground as fresh as its own, in\n"
         "alternation. A ratio is the product's figure divided by the rival's of the same round:\n"
         "the median of the rounds, with the least and the greatest. Less than 1 is ahead of "
         "it.\n\n"
         "To repeat it: `make bench`, on a machine that does nothing else. "
         "[bench/README.md](../bench/README.md)\n"
         "tells what each measurement does, and how to choose the file system, the sizes and the\n"
         "rounds.\n\n"
      << "- Machine: " << machine << "\n- Commit: " << commit << "\n- Date: " << Today() << "\n\n"
      << "| Work | Against | At most | Measured | | Figures |\n|---|---|---|---|---|---|\n";
  for (const Row& row : rows_) {
    out << "| " << row.work << " | " << row.against << " | "
        << (row.limit == 0 ? "" : WithUnit(row.limit, row.unit)) << " | " << Value(row) << " | "
        << Verdict(row) << " | " << row.figures << " |\n";
  }
  out << "\n## Why rows miss\n\n";
  bool isAnyMissed = false;
  for (const Row& row : rows_) {
    if (row.limit == 0 || !row.skipped.empty() || row.value.median <= row.limit) continue;
    isAnyMissed = true;
    const auto reason = reasons.find(row.key);
    out << "- **" << row.work << "** (`" << row.key
        << "`): " << (reason == reasons.end() ? "nobody has written down why." : reason->second)
        << "\n";
  }
  if (!isAnyMissed) out << "None does.\n";
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
  return NumberText(Median(first.figures) * scale) + " µs against " +
         NumberText(Median(second.figures) * scale) + " µs an item";
}

std::string MillisecondsText(const Candidate& first, const Candidate& second) {
  return NumberText(Median(first.figures) * 1e3) + " ms against " +
         NumberText(Median(second.figures) * 1e3) + " ms";
}

}  // namespace tessary::bench
