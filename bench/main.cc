// Measures the product against named rivals; README.md beside this file tells how.

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "bench/groups.h"

namespace tessary::bench {

const std::vector<Group>& Groups() {
  static const std::vector<Group> kGroups = {
      {"move", MeasureMoves},    {"copy", MeasureCopies},   {"across", MeasureMovesAcross},
      {"growth", MeasureGrowth}, {"idle", MeasureIdleRuns}, {"comments", MeasureComments},
      {"window", MeasureWindow},
  };
  return kGroups;
}

namespace {

ScratchDirectories MakeScratchDirectories(const Options& options) {
  const bool leaves = options.leavesFiles;
  ScratchDirectories directories = {
      ScratchDirectory(options.folder, leaves), ScratchDirectory(options.memory), {}, {}};
  for (const std::string& folder : options.clones) directories.clones.emplace_back(folder, leaves);
  for (const std::string& folder : options.others) directories.others.emplace_back(folder, leaves);
  return directories;
}

// Answers whether everything could be measured that there is ground for.
bool MeasureAll(const Options& options, const ScratchDirectories& directories, Report* report) {
  bool isWhole = true;
  for (const Group& group : Groups()) {
    if (!options.Wants(group.name)) continue;
    try {
      group.measure(options.sizes, directories, report);
    } catch (const std::exception& error) {
      report->AddSkipped({.key = group.name, .work = "(" + group.name + ")"}, error.what());
      isWhole = false;
    }
  }
  return isWhole;
}

void WriteReport(const Options& options, const ScratchDirectories& directories,
                 const Report& report) {
  std::ofstream file(options.report);
  const std::string machine = DescribeMachine() + "; " + directories.disk.type() + " at " +
                              options.folder + ", " + directories.memory.type() + " at " +
                              options.memory;
  report.Write(file, machine, options.commit, ReadReasons(options.reasons));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + options.report);
}

bool Run(const Options& options) {
  const ScratchDirectories directories = MakeScratchDirectories(options);
  // Nobody's own settings are measured. People's lie on a disk, where asking for a file that is not
  // there takes a quarter of the time that it takes in memory.
  setenv("XDG_CONFIG_HOME", directories.disk.MakeFolder().c_str(), 1);
  Report report;
  const bool isWhole = MeasureAll(options, directories, &report);
  if (!options.report.empty()) WriteReport(options, directories, report);
  if (!options.leavesFiles) std::cerr << "removing the files" << std::endl;
  return isWhole;
}

}  // namespace
}  // namespace tessary::bench

int main(int count, char** arguments) {
  try {
    return tessary::bench::Run(tessary::bench::ReadOptions(count, arguments)) ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "bench: " << error.what() << '\n';
    return 1;
  }
}
