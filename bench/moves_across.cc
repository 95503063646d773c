#include <stdexcept>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

constexpr size_t kFileSize = 4096;
constexpr double kLimit = 0.8;
constexpr char kRival[] = "`rsync -a --fsync --remove-source-files`";

// The seconds of a move of fresh files to a fresh folder on another device.
double TimeMove(const Ground& from, const Ground& to, size_t files,
                std::vector<std::string> (*command)(const std::string& source,
                                                    const std::string& destination)) {
  const std::string source = from.MakeFolder();
  const std::string destination = to.MakeFolder();
  FillFolder(source, 0, files, kFileSize);
  from.Settle();
  to.Settle();
  const double seconds = RunProgram(command(source, destination), from.path()).seconds;
  const bool isMoved = FilesBelow(source).empty() && FilesBelow(destination).size() == files;
  if (!isMoved) throw std::runtime_error("not all was moved to the other device");
  return seconds;
}

void MeasureMove(const Sizes& sizes, const Ground& from, const Ground& to, Report* report) {
  const size_t files = sizes.movedAcross;
  std::vector<Contestant> both;
  both.push_back({"tessary-cli", [&] {
                    return TimeMove(from, to, files, [](const auto& source, const auto& target) {
                      return FilingCommand({"--move"}, source, target);
                    });
                  }});
  both.push_back({kRival, [&] {
                    return TimeMove(from, to, files, [](const auto& source, const auto& target) {
                      return std::vector<std::string>{
                          "rsync", "-a", "--fsync", "--remove-source-files", source + "/", target};
                    });
                  }});
  Row row;
  row.key = "across-" + from.type() + "-" + to.type();
  row.work = "move " + std::to_string(files) + " files of 4 KiB from " + from.type() + " to " +
             to.type() + ", each durable before its original goes";
  row.against = kRival;
  row.limit = kLimit;
  if (!IsInstalled("rsync")) return report->AddSkipped(row, "rsync is not installed");
  RunRounds("move from " + from.type() + " to " + to.type(), sizes.rounds, &both);
  row.value = RatioOf(both[0], both[1]);
  row.figures = MicrosecondsText(both[0], both[1], files);
  report->Add(row);
}

}  // namespace

void MeasureMovesAcross(const Sizes& sizes, const Grounds& grounds, Report* report) {
  MeasureMove(sizes, grounds.memory, grounds.disk, report);
  for (const Ground& other : grounds.others) MeasureMove(sizes, other, grounds.disk, report);
  if (grounds.others.empty()) {
    report->AddSkipped({.key = "across",
                        .work = "move files from one disk to another",
                        .against = kRival,
                        .limit = kLimit},
                       "needs a second one, which root can mount and `--other DIR` names");
  }
}

}  // namespace tessary::bench
