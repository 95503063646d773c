#include <filesystem>
#include <stdexcept>
#include <utility>

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
  const auto candidate = [&](const std::string& name, const auto& commandFor) {
    return Candidate{name, [&, commandFor] {
                       return TimeCopy(scratch, copying, [&](const std::string& destination) {
                         return RunProgram(commandFor(destination), scratch.path());
                       });
                     }};
  };
  using Command = std::vector<std::string>;
  std::vector<Candidate> all;
  all.push_back(candidate("tessary-cli", [&](const std::string& destination) {
    return AggregateCommand({"--copy"}, source, destination);
  }));
  if (copying.usesReflink) {
    all.push_back(candidate("`cp -a --reflink=always`", [&](const std::string& destination) {
      return Command{"cp", "-a", "--reflink=always", source, destination};
    }));
  } else {
    all.push_back(candidate("`cp -a`", [&](const std::string& destination) {
      return Command{"cp", "-a", source, destination};
    }));
    all.push_back(candidate("`rsync -a`", [&](const std::string& destination) {
      return Command{"rsync", "-a", source + "/", destination};
    }));
  }
  if (!IsInstalled("rsync")) all.resize(2);
  // A warm-up run, because the first large copy also pays for memory that was not used recently.
  if (copying.size > kLarge) all[1].run();
  const std::string what = CountText(copying.files) + " files of " + SizeText(copying.size) +
                           (copying.usesReflink ? ", with reflinks, " : ", ") + scratch.type();
  RunRounds("copy " + what, sizes.rounds, &all);
  Times times = {.work = "copy " + what, .microseconds = {}};
  times.microseconds.emplace_back("Tessary", MedianMicroseconds(all[0], copying.files));
  for (size_t i = 1; i < all.size(); ++i) {
    Row row = {.key = copying.key + (i == 1 ? "-" : "-rsync-") + scratch.type(),
               .work = "copy " + what,
               .baseline = all[i].name,
               .limit = i == 1 ? copying.limit : 0,
               .value = RatioOf(all[0], all[i])};
    SetMicroseconds(all[0], all[i], copying.files, &row);
    report->Add(std::move(row));
    times.microseconds.emplace_back(i == 1 ? "cp" : "rsync",
                                    MedianMicroseconds(all[i], copying.files));
  }
  report->AddTimes(std::move(times));
}

}  // namespace

void MeasureCopies(const Sizes& sizes, const ScratchDirectories& directories, Report* report) {
  for (const ScratchDirectory* scratch : {&directories.disk, &directories.memory}) {
    const bool isMemory = scratch == &directories.memory;
    MeasureCopy(sizes, *scratch,
                {"copy-small", sizes.copied, kSmallSize, isMemory ? 0.9 : 0.85, false}, report);
    MeasureCopy(sizes, *scratch,
                {"copy-large", sizes.bigCopied, sizes.bigBytes, isMemory ? 0.95 : 0.8, false},
                report);
  }
  for (const ScratchDirectory& scratch : directories.clones) {
    const double limit = scratch.type() == "btrfs" ? 1.2 : 1.0;
    MeasureCopy(sizes, scratch, {"clone-small", sizes.copied, kSmallSize, limit, true}, report);
    MeasureCopy(sizes, scratch, {"clone-large", sizes.bigCopied, sizes.bigBytes, limit, true},
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
