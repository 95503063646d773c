#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <utility>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

constexpr size_t kMovedSize = 16;

// Renames each file of a folder into the folder of its extension below `to`: directly, or in two
// steps through `to` itself. This is the minimum of work that any program has to do.
bool RenameAll(const std::string& from, const std::string& to, int steps) {
  DIR* source = opendir(from.c_str());
  const int destination = open(to.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (source == nullptr || destination < 0) return false;
  std::map<std::string, int> folders;
  while (const dirent* entry = readdir(source)) {
    const char* name = entry->d_name;
    const char* dot = std::strrchr(name, '.');
    if (name[0] == '.' || dot == nullptr) continue;
    int& folder = folders.try_emplace(dot + 1, -1).first->second;
    if (folder < 0) {
      if (mkdirat(destination, dot + 1, 0777) != 0) return false;
      folder = openat(destination, dot + 1, O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    const int first = steps == 1 ? folder : destination;
    if (renameat(dirfd(source), name, first, name) != 0) return false;
    if (steps == 2 && renameat(destination, name, folder, name) != 0) return false;
  }
  return true;
}

// Makes the two renames in the order of a run by date: first all files into one folder, then each
// out of it.
bool RenameAllInTwoPasses(const std::string& from, const std::string& to) {
  DIR* source = opendir(from.c_str());
  const int destination = open(to.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (source == nullptr || destination < 0) return false;
  while (const dirent* entry = readdir(source)) {
    if (entry->d_name[0] == '.') continue;
    if (renameat(dirfd(source), entry->d_name, destination, entry->d_name) != 0) return false;
  }
  return RenameAll(to, to, 1);
}

// Returns the seconds of one mv per folder. The folders and the lists of names are made before.
double TimeMv(const FileSet& fileSet, const std::string& logs) {
  std::map<std::string, std::vector<std::string>> commands;
  for (const std::string& file : FilesBelow(fileSet.source())) {
    const std::string folder =
        fileSet.destination() + "/" + std::filesystem::path(file).extension().string().substr(1);
    std::vector<std::string>& command = commands[folder];
    if (command.empty()) command = {"mv", "-n", "-t", folder};
    command.push_back(file);
  }
  double seconds = 0;
  for (const auto& [folder, command] : commands) {
    std::filesystem::create_directory(folder);
    seconds += RunProgram(command, logs).seconds;
  }
  return seconds;
}

class MoveComparison {
 public:
  MoveComparison(const Sizes& sizes, const ScratchDirectory& scratch, Report* report)
      : scratch_(scratch),
        rounds_(sizes.rounds),
        report_(report),
        fileSet_(scratch, sizes.moved, kMovedSize) {}

  void Run() {
    std::vector<Candidate> all;
    for (const char* kind : kKinds) all.push_back(Ours(kind));
    all.push_back(Loop("a `renameat` loop", [this] { return RenameAll(from(), to(), 1); }));
    all.push_back(Mv());
    all.push_back(Ours(kDateKind));
    all.push_back(Loop("a loop with both renames", [this] { return RenameAll(from(), to(), 2); }));
    all.push_back(Loop("two loops, one after the other",
                       [this] { return RenameAllInTwoPasses(from(), to()); }));
    if (IsInstalled("rsync")) all.push_back(Rsync());
    RunRounds("move on " + scratch_.type(), rounds_, &all);

    const bool isMemory = scratch_.type() == "tmpfs";
    for (size_t i = 0; i < std::size(kKinds); ++i) {
      AddRow(kKinds[i], "bare", isMemory ? 2.0 : 1.25, all[i], all[3]);
      AddRow(kKinds[i], "mv", isMemory ? 1.4 : 1.0, all[i], all[4]);
    }
    AddRow(kDateKind, "bare", isMemory ? 2.3 : 1.6, all[5], all[6]);
    AddRow(kDateKind, "passes", 0, all[5], all[7]);
    Times times = {.work = WorkText(kKinds[0]), .microseconds = {}};
    times.microseconds.emplace_back("Tessary", MedianMicroseconds(all[0], fileSet_.count()));
    times.microseconds.emplace_back("mv", MedianMicroseconds(all[4], fileSet_.count()));
    if (all.size() > 8) {
      AddRow(kKinds[0], "rsync", 0, all[0], all[8]);
      times.microseconds.emplace_back("rsync", MedianMicroseconds(all[8], fileSet_.count()));
    }
    report_->AddTimes(std::move(times));
  }

 private:
  static constexpr const char* kKinds[] = {"extension", "file-type", "mime-type"};
  static constexpr char kDateKind[] = "modification-date";

  Candidate Ours(const std::string& kind) {
    return {kind, [this, kind] {
              fileSet_.Reset();
              const Usage usage =
                  RunProgram(AggregateCommand({"--move", "--kind", kind}, fileSet_.source(),
                                              fileSet_.destination()),
                             scratch_.path());
              fileSet_.RequireMoved();
              return usage.seconds;
            }};
  }

  const std::string& from() const { return fileSet_.source(); }
  const std::string& to() const { return fileSet_.destination(); }

  Candidate Loop(const std::string& name, const std::function<bool()>& work) {
    return {name, [this, work] {
              fileSet_.Reset();
              const Usage usage = RunInChild(work);
              fileSet_.RequireMoved();
              return usage.seconds;
            }};
  }

  Candidate Mv() {
    return {"`mv -n -t` for each folder", [this] {
              fileSet_.Reset();
              const double seconds = TimeMv(fileSet_, scratch_.path());
              fileSet_.RequireMoved();
              return seconds;
            }};
  }

  // Moves everything into one folder.
  Candidate Rsync() {
    return {"`rsync -a --remove-source-files`", [this] {
              fileSet_.Reset();
              const Usage usage = RunProgram(
                  {"rsync", "-a", "--remove-source-files", from() + "/", to()}, scratch_.path());
              fileSet_.RequireMoved();
              return usage.seconds;
            }};
  }

  std::string WorkText(const std::string& kind) const {
    return "move " + CountText(fileSet_.count()) + " small files by " + kind + ", " +
           scratch_.type();
  }

  void AddRow(const std::string& kind, const std::string& baseline, double limit,
              const Candidate& ours, const Candidate& theirs) {
    Row row;
    row.key = "move-" + kind + "-" + baseline + "-" + scratch_.type();
    row.work = WorkText(kind);
    row.baseline = theirs.name;
    row.limit = limit;
    row.value = RatioOf(ours, theirs);
    SetMicroseconds(ours, theirs, fileSet_.count(), &row);
    report_->Add(row);
  }

  const ScratchDirectory& scratch_;
  int rounds_;
  Report* report_;
  FileSet fileSet_;
};

}  // namespace

void MeasureMoves(const Sizes& sizes, const ScratchDirectories& directories, Report* report) {
  for (const ScratchDirectory* scratch : {&directories.disk, &directories.memory}) {
    MoveComparison(sizes, *scratch, report).Run();
  }
}

}  // namespace tessary::bench
