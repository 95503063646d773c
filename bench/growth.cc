#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

constexpr size_t kFilesPerFolder = 10;

// Growth shows after few rounds, and the greatest sizes take long.
int RoundsOf(const Sizes& sizes) { return std::min(sizes.rounds, 3); }

double PeakOfEmptyRun(const Ground& ground) {
  ForgetPeak();
  return RunProgram(FilingCommand({"--move"}, ground.MakeFolder(), ground.MakeFolder()),
                    ground.path())
      .peakBytes;
}

// The greatest figure of each round divided by its least.
Ratio Spread(const std::vector<Contestant>& contestants) {
  Contestant greatest = contestants.front();
  Contestant least = contestants.front();
  for (const Contestant& contestant : contestants) {
    for (size_t i = 0; i < contestant.figures.size(); ++i) {
      greatest.figures[i] = std::max(greatest.figures[i], contestant.figures[i]);
      least.figures[i] = std::min(least.figures[i], contestant.figures[i]);
    }
  }
  return RatioOf(greatest, least);
}

// Moves ever more files out of one folder. The figure is the seconds an item.
void MeasureNumbers(const Sizes& sizes, const Ground& ground, Report* report) {
  std::vector<std::unique_ptr<Pile>> piles;
  std::vector<Contestant> contestants;
  double peak = 0;
  for (const size_t count : sizes.growth) {
    Pile* pile = piles.emplace_back(std::make_unique<Pile>(ground, count, 0)).get();
    contestants.push_back({std::to_string(count), [pile, &ground, &peak] {
                             pile->PutBack();
                             ForgetPeak();
                             const Usage usage = RunProgram(
                                 FilingCommand({"--move"}, pile->source(), pile->destination()),
                                 ground.path());
                             pile->RequireMoved();
                             peak = std::max(peak, usage.peakBytes);
                             return usage.seconds / static_cast<double>(pile->count());
                           }});
  }
  RunRounds("growth in number", RoundsOf(sizes), &contestants);
  Row row;
  row.key = "growth-number";
  row.work = "growth: " + std::to_string(sizes.growth.front()) + " to " +
             std::to_string(sizes.growth.back()) + " files moved, " + ground.type();
  row.against = "time per item, largest against smallest";
  row.limit = 1.3;
  row.value = Spread(contestants);
  for (const Contestant& contestant : contestants) {
    row.figures += (row.figures.empty() ? "" : ", ") + contestant.name +
                   " files: " + NumberText(Median(contestant.figures) * 1e6) + " µs an item";
  }
  report->Add(row);

  const double bytes = (peak - PeakOfEmptyRun(ground)) / static_cast<double>(sizes.growth.back());
  Row memory;
  memory.key = "memory";
  memory.work = "peak memory, " + std::to_string(sizes.growth.back()) + " files in one folder";
  memory.against = "a run over an empty folder";
  memory.limit = 200;
  memory.unit = "bytes an item";
  memory.value = {bytes, bytes, bytes};
  memory.figures = NumberText(peak / (1 << 20)) + " MiB at the peak";
  report->Add(memory);
}

using MakeTree = void (*)(const Sizes& sizes, const std::string& folder);

void MakeDeepTree(const Sizes& sizes, const std::string& folder) {
  std::string path = folder;
  for (size_t level = 0; level < sizes.depth; ++level) {
    FillFolder(path, level * sizes.filesPerLevel, sizes.filesPerLevel, 0);
    path += "/d";
    Require(mkdir(path.c_str(), 0777) == 0, path);
  }
}

void MakeWideTree(const Sizes& sizes, const std::string& folder) {
  for (size_t i = 0; i < sizes.wide; ++i) {
    const std::string path = folder + "/" + std::to_string(i);
    Require(mkdir(path.c_str(), 0777) == 0, path);
    FillFolder(path, i * kFilesPerFolder, kFilesPerFolder, 0);
  }
}

double TimeRecursiveMove(const Ground& ground, const std::string& source, size_t count) {
  const std::string destination = ground.MakeFolder();
  ground.Settle();
  const Usage usage =
      RunProgram(FilingCommand({"--move", "--recurse"}, source, destination), ground.path());
  if (FilesBelow(destination).size() != count) throw std::runtime_error("not all was moved");
  return usage.seconds;
}

// Moves the files of a tree and, against it, as many out of one folder.
void MeasureTree(const Sizes& sizes, const Ground& ground, size_t count, MakeTree makeTree, Row row,
                 Report* report) {
  std::vector<Contestant> both;
  both.push_back({"the tree", [&] {
                    const std::string source = ground.MakeFolder();
                    makeTree(sizes, source);
                    return TimeRecursiveMove(ground, source, count);
                  }});
  both.push_back({"as many in one folder", [&] {
                    const std::string source = ground.MakeFolder();
                    FillFolder(source, 0, count, 0);
                    return TimeRecursiveMove(ground, source, count);
                  }});
  RunRounds(row.work, RoundsOf(sizes), &both);
  row.work += ", " + ground.type();
  row.against = both[1].name;
  row.limit = 2.0;
  row.value = RatioOf(both[0], both[1]);
  row.figures = MicrosecondsText(both[0], both[1], count);
  report->Add(row);
}

}  // namespace

void MeasureGrowth(const Sizes& sizes, const Grounds& grounds, Report* report) {
  const Ground& ground = grounds.memory;
  MeasureNumbers(sizes, ground, report);
  MeasureTree(sizes, ground, sizes.depth * sizes.filesPerLevel, MakeDeepTree,
              {.key = "growth-depth",
               .work = "growth: " + std::to_string(sizes.depth) + " folders in one another, " +
                       std::to_string(sizes.filesPerLevel) + " files in each"},
              report);
  MeasureTree(sizes, ground, sizes.wide * kFilesPerFolder, MakeWideTree,
              {.key = "growth-width",
               .work = "growth: " + std::to_string(sizes.wide) + " folders side by side, " +
                       std::to_string(kFilesPerFolder) + " files in each"},
              report);
}

}  // namespace tessary::bench
