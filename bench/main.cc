// Compares the performance of the programs with baselines; see README.md in this folder.

#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
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
  const bool keepsFiles = options.keepsFiles;
  ScratchDirectories directories = {
      ScratchDirectory(options.folder, keepsFiles), ScratchDirectory(options.memory), {}, {}};
  for (const std::string& folder : options.clones)
    directories.clones.emplace_back(folder, keepsFiles);
  for (const std::string& folder : options.others)
    directories.others.emplace_back(folder, keepsFiles);
  return directories;
}

// Runs the groups that the options select. Returns false if a group failed. Each group has its own
// directories: the files of all groups together are more than a tmpfs can hold.
bool MeasureAll(const Options& options, Report* report) {
  bool isComplete = true;
  for (const Group& group : Groups()) {
    if (!options.Wants(group.name)) continue;
    try {
      group.measure(options.sizes, MakeScratchDirectories(options), report);
    } catch (const std::exception& error) {
      report->AddSkipped({.key = group.name, .work = "(" + group.name + ")"}, error.what());
      isComplete = false;
    }
  }
  return isComplete;
}

void WriteFile(const std::string& path, const std::function<void(std::ostream&)>& write) {
  std::ofstream file(path);
  write(file);
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

void WritePage(const Options& options, const ScratchDirectories& directories,
               const Report& report) {
  const std::string machine = DescribeMachine() + "; " + directories.disk.type() + " at " +
                              options.folder + ", " + directories.memory.type() + " at " +
                              options.memory;
  WriteFile(options.report, [&](std::ostream& out) {
    report.Write(out, machine, options.commit, ReadReasons(options.reasons));
  });
}

void WritePlots(const Options& options, const Report& report) {
  WriteFile(options.plots + "/times", [&report](std::ostream& out) { report.WriteTimes(out); });
  WriteFile(options.plots + "/growth", [&report](std::ostream& out) { report.WriteGrowth(out); });
}

bool Run(const Options& options) {
  const ScratchDirectories directories = MakeScratchDirectories(options);
  // Without the settings of the user. On the disk, where settings usually are: there a lookup of a
  // missing file takes a quarter of the time that it takes on a tmpfs.
  setenv("XDG_CONFIG_HOME", directories.disk.MakeFolder().c_str(), 1);
  Report report;
  const bool isComplete = MeasureAll(options, &report);
  if (!options.report.empty()) WritePage(options, directories, report);
  if (!options.plots.empty()) WritePlots(options, report);
  return isComplete;
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
