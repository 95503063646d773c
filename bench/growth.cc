#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

constexpr size_t kFilesPerFolder = 10;

// At most three rounds, because the largest sizes take long.
int RoundsOf(const Sizes& sizes) { return std::min(sizes.rounds, 3); }

double PeakOfEmptyRun(const ScratchDirectory& scratch) {
  ResetPeakMemory();
  return RunProgram(AggregateCommand({"--move"}, scratch.MakeFolder(), scratch.MakeFolder()),
                    scratch.path())
      .peakBytes;
}

// Returns the largest figure of each round divided by the smallest.
Ratio Spread(const std::vector<Candidate>& candidates) {
  Candidate maximum = candidates.front();
  Candidate minimum = candidates.front();
  for (const Candidate& candidate : candidates) {
    for (size_t i = 0; i < candidate.figures.size(); ++i) {
      maximum.figures[i] = std::max(maximum.figures[i], candidate.figures[i]);
      minimum.figures[i] = std::min(minimum.figures[i], candidate.figures[i]);
    }
  }
  return RatioOf(maximum, minimum);
}

// Moves increasing numbers of files out of one folder. The figure is the seconds per item.
void MeasureFileCounts(const Sizes& sizes, const ScratchDirectory& scratch, Report* report) {
  std::vector<std::unique_ptr<FileSet>> fileSets;
  std::vector<Candidate> candidates;
  double peak = 0;
  for (const size_t count : sizes.growth) {
    FileSet* fileSet = fileSets.emplace_back(std::make_unique<FileSet>(scratch, count, 0)).get();
    candidates.push_back(
        {std::to_string(count), [fileSet, &scratch, &peak] {
           fileSet->Reset();
           ResetPeakMemory();
           const Usage usage =
               RunProgram(AggregateCommand({"--move"}, fileSet->source(), fileSet->destination()),
                          scratch.path());
           fileSet->RequireMoved();
           peak = std::max(peak, usage.peakBytes);
           return usage.seconds / static_cast<double>(fileSet->count());
         }});
  }
  RunRounds("growth in number", RoundsOf(sizes), &candidates);
  Row row;
  row.question = Question::kGrowth;
  row.key = "growth-number";
  row.work = "move " + CountText(sizes.growth.front()) + " to " + CountText(sizes.growth.back()) +
             " files, " + scratch.type();
  row.baseline = "itself: largest and smallest time per item";
  row.limit = 1.3;
  row.value = Spread(candidates);
  for (size_t i = 0; i < candidates.size(); ++i) {
    const Candidate& candidate = candidates[i];
    report->AddGrowth(sizes.growth[i], MedianMicroseconds(candidate, 1));
    row.own += (row.own.empty() ? "" : ", ") + NumberText(MedianMicroseconds(candidate, 1)) +
               " µs/item for " + CountText(sizes.growth[i]);
  }
  report->Add(row);

  const double bytes = (peak - PeakOfEmptyRun(scratch)) / static_cast<double>(sizes.growth.back());
  Row memory;
  memory.question = Question::kCost;
  memory.key = "memory";
  memory.work = "peak memory, " + CountText(sizes.growth.back()) + " files in one folder";
  memory.baseline = "a run over an empty folder";
  memory.limit = 200;
  memory.unit = "bytes/item";
  memory.value = {bytes, bytes, bytes};
  memory.own = NumberText(peak / (1 << 20)) + " MiB";
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

double TimeRecursiveMove(const ScratchDirectory& scratch, const std::string& source, size_t count) {
  const std::string destination = scratch.MakeFolder();
  scratch.SyncFilesystem();
  const Usage usage =
      RunProgram(AggregateCommand({"--move", "--recurse"}, source, destination), scratch.path());
  if (FilesBelow(destination).size() != count) throw std::runtime_error("not all files were moved");
  return usage.seconds;
}

// Compares moving the files of a tree with moving the same number of files out of one folder.
void MeasureTree(const Sizes& sizes, const ScratchDirectory& scratch, size_t count,
                 MakeTree makeTree, Row row, Report* report) {
  std::vector<Candidate> both;
  both.push_back({"the tree", [&] {
                    const std::string source = scratch.MakeFolder();
                    makeTree(sizes, source);
                    return TimeRecursiveMove(scratch, source, count);
                  }});
  both.push_back({"the same number of files in one folder", [&] {
                    const std::string source = scratch.MakeFolder();
                    FillFolder(source, 0, count, 0);
                    return TimeRecursiveMove(scratch, source, count);
                  }});
  RunRounds(row.work, RoundsOf(sizes), &both);
  row.work += ", " + scratch.type();
  row.baseline = both[1].name;
  row.limit = 2.0;
  row.value = RatioOf(both[0], both[1]);
  SetMicroseconds(both[0], both[1], count, &row);
  report->Add(row);
}

}  // namespace

void MeasureGrowth(const Sizes& sizes, const ScratchDirectories& directories, Report* report) {
  const ScratchDirectory& scratch = directories.memory;
  MeasureFileCounts(sizes, scratch, report);
  MeasureTree(sizes, scratch, sizes.depth * sizes.filesPerLevel, MakeDeepTree,
              {.question = Question::kGrowth,
               .key = "growth-depth",
               .work = "move files of " + CountText(sizes.depth) + " nested folders, " +
                       CountText(sizes.filesPerLevel) + " files in each"},
              report);
  MeasureTree(sizes, scratch, sizes.wide * kFilesPerFolder, MakeWideTree,
              {.question = Question::kGrowth,
               .key = "growth-width",
               .work = "move files of " + CountText(sizes.wide) + " folders side by side, " +
                       CountText(kFilesPerFolder) + " files in each"},
              report);
}

}  // namespace tessary::bench
