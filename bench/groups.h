#pragma once

#include <string>
#include <vector>

#include "bench/options.h"
#include "bench/report.h"
#include "bench/workload.h"

// The measurements. Each adds its rows to the report. Rows that cannot be measured on this machine
// are added with the reason.
namespace tessary::bench {

// One scratch directory on each filesystem that is measured. Nothing in them is deleted before the
// end, because on some filesystems a deletion slows down the creation of files after it, and so the
// next run.
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

// Returns the groups in the order in which they run.
const std::vector<Group>& Groups();

// Moving many small files, by the kinds that rename an item once, and by date, which renames it
// twice.
void MeasureMoves(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// Copying small and large files, with and without reflinks.
void MeasureCopies(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// Moving to another device; each file is made durable before its original is deleted.
void MeasureMovesAcross(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// The time per item and the peak memory as the number of files, the depth and the width of the
// source grow.
void MeasureGrowth(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// The cost of a run that finds nothing to do.
void MeasureIdleRuns(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// The cost of preserving comments in a copy.
void MeasureComments(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

// The start of the desktop program, the processor time of its idle window, and runs in the window.
void MeasureWindow(const Sizes& sizes, const ScratchDirectories& directories, Report* report);

}  // namespace tessary::bench
