#include <sys/stat.h>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

// Compares a run over files that are all in their key folder with listing them with their sizes.
// The figure is the processor time.
void MeasureInPlace(const Sizes& sizes, const ScratchDirectory& scratch, Report* report) {
  const std::string destination = scratch.MakeFolder();
  const std::string source = destination + "/txt";
  Require(mkdir(source.c_str(), 0777) == 0, source);
  const size_t step = Extensions().size();
  for (size_t i = 0; i < sizes.inPlace; ++i) FillFolder(source, i * step, 1, 0);
  std::vector<Candidate> both;
  both.push_back({"tessary-cli", [&] {
                    return RunProgram(AggregateCommand({"--move"}, source, destination),
                                      scratch.path())
                        .processorSeconds;
                  }});
  both.push_back(
      {"`find -printf '%s'`", [&] {
         return RunProgram({"find", source, "-printf", "%s"}, scratch.path()).processorSeconds;
       }});
  Row row;
  row.question = Question::kCost;
  row.key = "in-place-" + scratch.type();
  row.work = "run over " + CountText(sizes.inPlace) + " files in place, " + scratch.type();
  row.baseline = both[1].name + ", processor time";
  row.limit = 5.0;
  RunRounds(row.work, sizes.rounds, &both);
  row.value = RatioOf(both[0], both[1]);
  SetMicroseconds(both[0], both[1], sizes.inPlace, &row);
  report->Add(row);
}

void MeasureStart(const Sizes& sizes, const ScratchDirectory& scratch, Report* report) {
  const std::string source = scratch.MakeFolder();
  const std::string destination = scratch.MakeFolder();
  std::vector<Candidate> both;
  both.push_back({"tessary-cli", [&] {
                    return RunProgram(AggregateCommand({"--move"}, source, destination),
                                      scratch.path())
                        .seconds;
                  }});
  both.push_back({"`/bin/ls`", [&] {
                    return RunProgram({"/bin/ls", source}, scratch.path()).seconds;
                  }});
  Row row;
  row.question = Question::kCost;
  row.key = "start";
  row.work = "start, and run over an empty folder";
  row.baseline = both[1].name + " of that folder";
  row.limit = 3.0;
  RunRounds(row.work, sizes.starts, &both);
  row.value = RatioOf(both[0], both[1]);
  SetMilliseconds(both[0], both[1], &row);
  report->Add(row);
}

}  // namespace

void MeasureIdleRuns(const Sizes& sizes, const ScratchDirectories& directories, Report* report) {
  MeasureInPlace(sizes, directories.disk, report);
  MeasureInPlace(sizes, directories.memory, report);
  MeasureStart(sizes, directories.disk, report);
}

}  // namespace tessary::bench
