#include <stdexcept>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

constexpr size_t kDurableSize = 4096;
constexpr double kLimit = 1.05;
constexpr char kBaseline[] = "`rsync -a --fsync --remove-source-files`";

// Returns the seconds of a move of new files to a fresh directory on another device.
double TimeMove(const ScratchDirectory& from, const ScratchDirectory& to, size_t files,
                std::vector<std::string> (*command)(const std::string& source,
                                                    const std::string& destination)) {
  const std::string source = from.MakeFolder();
  const std::string destination = to.MakeFolder();
  FillFolder(source, 0, files, kDurableSize);
  from.SyncFilesystem();
  to.SyncFilesystem();
  const double seconds = RunProgram(command(source, destination), from.path()).seconds;
  const bool isMoved = FilesBelow(source).empty() && FilesBelow(destination).size() == files;
  if (!isMoved) throw std::runtime_error("not all files were moved");
  return seconds;
}

void MeasureMove(const Sizes& sizes, const ScratchDirectory& from, const ScratchDirectory& to,
                 Report* report) {
  const size_t files = sizes.movedAcross;
  std::vector<Candidate> both;
  both.push_back({"tessary-cli", [&] {
                    return TimeMove(from, to, files, [](const auto& source, const auto& target) {
                      return AggregateCommand({"--move"}, source, target);
                    });
                  }});
  both.push_back({kBaseline, [&] {
                    return TimeMove(from, to, files, [](const auto& source, const auto& target) {
                      return std::vector<std::string>{
                          "rsync", "-a", "--fsync", "--remove-source-files", source + "/", target};
                    });
                  }});
  Row row;
  row.key = "across-" + from.type() + "-" + to.type();
  row.work = "move " + CountText(files) + " files of 4 KiB from " + from.type() + " to " +
             to.type() +
             "; before Tessary deletes an original, contents and name of the new file are "
             "durable, with `rsync` only the contents";
  row.baseline = kBaseline;
  row.limit = kLimit;
  if (!IsInstalled("rsync")) return report->AddSkipped(row, "rsync is not installed");
  RunRounds("move from " + from.type() + " to " + to.type(), sizes.rounds, &both);
  row.value = RatioOf(both[0], both[1]);
  SetMicroseconds(both[0], both[1], files, &row);
  report->Add(row);
  report->AddTimes({.work = "move " + CountText(files) + " files of 4 KiB durably from " +
                            from.type() + " to " + to.type(),
                    .microseconds = {{"Tessary", MedianMicroseconds(both[0], files)},
                                     {"rsync", MedianMicroseconds(both[1], files)}}});
}

}  // namespace

void MeasureMovesAcross(const Sizes& sizes, const ScratchDirectories& directories, Report* report) {
  MeasureMove(sizes, directories.memory, directories.disk, report);
  for (const ScratchDirectory& other : directories.others)
    MeasureMove(sizes, other, directories.disk, report);
  if (directories.others.empty()) {
    report->AddSkipped({.key = "across",
                        .work = "move files from one disk to another",
                        .baseline = kBaseline,
                        .limit = kLimit},
                       "requires a second disk: run as root or use `--other DIR`");
  }
}

}  // namespace tessary::bench
