#pragma once

#include <string>
#include <vector>

#include "bench/options.h"
#include "bench/report.h"
#include "bench/workload.h"

// The measurements. Each adds the rows that it stands for to the report, also those that cannot be
// had on this machine, with the reason.
namespace tessary::bench {

// Where the work is done: a folder of this program's own on each file system that is measured.
// Nothing in them is removed before the end, since creating files just after others were deleted is
// slow on some file systems and would be charged to whoever comes next.
struct ScratchDirectories {
  ScratchDirectory disk;
  ScratchDirectory memory;
  std::vector<ScratchDirectory> clones;
  std::vector<ScratchDirectory> others;
};

using Measure = void (*)(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

struct Group {
  std::string name;
  Measure measure;
};

// In the order in which they are run.
const std::vector<Group>& Groups();

// Moving many small files, by the kinds that rename an item once, and by date, which does it twice.
void MeasureMoves(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// Copying small files and large ones, with and without sharing blocks.
void MeasureCopies(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// Moving from one device to another, each file made durable before its original is deleted.
void MeasureMovesAcross(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// The time that an item takes as folders grow, in number, in depth and in width, and the memory.
void MeasureGrowth(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// What a run takes that finds nothing to do.
void MeasureIdleRuns(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// What comments add to a copy.
void MeasureComments(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// The desktop program's way to its window, and what it takes while it stands idle.
void MeasureWindow(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

}  // namespace tessary::bench
