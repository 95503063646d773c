#include <filesystem>
#include <stdexcept>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

constexpr size_t kSmallSize = 4096;
constexpr size_t kLarge = 100'000;

// One measurement of copying.
struct CopyCase {
  std::string key;
  size_t files = 0;
  size_t size = 0;
  double limit = 0;
  bool usesReflink = false;
};

std::string SizeText(size_t bytes) {
  return bytes % (1 << 20) == 0 ? std::to_string(bytes >> 20) + " MiB"
                                : std::to_string(bytes >> 10) + " KiB";
}

// Returns the seconds of a copy into a fresh directory. Deletes large copies, to save space.
double TimeCopy(const ScratchDirectory& scratch, const CopyCase& copying,
                const std::function<Usage(const std::string& destination)>& copy) {
  const std::string destination = scratch.MakeFolder();
  scratch.SyncFilesystem();
  const double seconds = copy(destination).seconds;
  if (FilesBelow(destination).size() != copying.files)
    throw std::runtime_error("not all files were copied");
  if (copying.size > kLarge) std::filesystem::remove_all(destination);
  return seconds;
}

void MeasureCopy(const Sizes& sizes, const ScratchDirectory& scratch, const CopyCase& copying,
                 Report* report) {
  const std::string source = scratch.MakeFolder();
  FillFolder(source, 0, copying.files, copying.size);
  std::vector<std::string> baseline = {"cp", "-a"};
  if (copying.usesReflink) baseline.emplace_back("--reflink=always");
  baseline.push_back(source);
  std::vector<Candidate> both;
  both.push_back({"tessary-cli", [&] {
                    return TimeCopy(scratch, copying, [&](const std::string& destination) {
                      return RunProgram(AggregateCommand({"--copy"}, source, destination),
                                        scratch.path());
                    });
                  }});
  both.push_back({copying.usesReflink ? "`cp -a --reflink=always`" : "`cp -a`", [&] {
                    return TimeCopy(scratch, copying, [&](const std::string& destination) {
                      std::vector<std::string> command = baseline;
                      command.push_back(destination);
                      return RunProgram(command, scratch.path());
                    });
                  }});
  Row row;
  row.key = copying.key + "-" + scratch.type();
  row.work = "copy " + std::to_string(copying.files) + " files of " + SizeText(copying.size) +
             (copying.usesReflink ? ", with reflinks, " : ", ") + scratch.type();
  row.baseline = both[1].name;
  row.limit = copying.limit;
  // A warm-up run, because the first large copy also pays for memory that was not used recently.
  if (copying.size > kLarge) both[1].run();
  RunRounds(row.work, sizes.rounds, &both);
  row.value = RatioOf(both[0], both[1]);
  row.figures = MicrosecondsText(both[0], both[1], copying.files);
  report->Add(row);
}

}  // namespace

void MeasureCopies(const Sizes& sizes, const ScratchDirectories& directories, Report* report) {
  for (const ScratchDirectory* scratch : {&directories.disk, &directories.memory}) {
    MeasureCopy(sizes, *scratch, {"copy-small", sizes.copied, kSmallSize, 0.95, false}, report);
    MeasureCopy(sizes, *scratch, {"copy-large", sizes.bigCopied, sizes.bigBytes, 1.0, false},
                report);
  }
  for (const ScratchDirectory& scratch : directories.clones) {
    MeasureCopy(sizes, scratch, {"clone-small", sizes.copied, kSmallSize, 1.0, true}, report);
    MeasureCopy(sizes, scratch, {"clone-large", sizes.bigCopied, sizes.bigBytes, 1.0, true},
                report);
  }
  if (directories.clones.empty()) {
    report->AddSkipped({.key = "clone",
                        .work = "copy files, with reflinks, xfs or btrfs",
                        .baseline = "`cp -a --reflink=always`",
                        .limit = 1.0},
                       "requires a filesystem with reflinks: run as root or use `--clones DIR`");
  }
}

}  // namespace tessary::bench
