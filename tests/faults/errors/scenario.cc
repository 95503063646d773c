#include "tests/faults/errors/scenario.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/linux/apple_events/comment_agent.h"
#include "programs/cli/command_line.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/volumes.h"

#ifdef TESSARY_SANITIZE
#include <sanitizer/lsan_interface.h>
#endif

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

// Where everything lies but the destination of a run between volumes.
constexpr char kVolume[] = "/dev/shm";

// The folder for that destination: on a volume in memory too where one can be mounted for this
// process alone, as making things durable on a disk takes longer than all the rest.
std::string OtherVolume() {
  static const std::string kPath = [] {
    std::string reason;
    if (!EnterMountNamespace(&reason)) return fs::temp_directory_path().string();
    // Unmounted when the process and its namespace with it are gone.
    static const MemoryVolume* volume = new MemoryVolume("size=64m");
    return volume->IsMounted() ? volume->path() : fs::temp_directory_path().string();
  }();
  return kPath;
}

constexpr int kLeakExitStatus = 97;
constexpr int kRunSeconds = 20;
constexpr int64_t kDate = 1'234'567'890;

std::string Repeat(const std::string& text, size_t size) {
  std::string repeated;
  while (repeated.size() < size) repeated += text;
  repeated.resize(size);
  return repeated;
}

void WriteDated(const std::string& path, const std::string& contents, mode_t mode) {
  WriteFile(path, contents);
  EXPECT_EQ(0, chmod(path.c_str(), mode)) << path;
  SetModificationDate(path, kDate);
}

void MakePackage(const std::string& path) {
  WriteDated(path + "/Contents/Info.plist", "the list of what it is", 0644);
  WriteDated(path + "/Contents/Resources/picture.bin", Repeat("picture ", 9000), 0600);
  fs::create_hard_link(path + "/Contents/Resources/picture.bin", path + "/Contents/again.bin");
  MakeLink("Resources/picture.bin", path + "/Contents/current");
  MakeFolder(path + "/Contents/Empty");
  (void)SetAttribute(path + "/Contents/Info.plist", "user.note", "inside");
  SetModificationDate(path + "/Contents/Resources", kDate);
  SetModificationDate(path + "/Contents/Empty", kDate);
  SetModificationDate(path + "/Contents/current", kDate);
  SetModificationDate(path + "/Contents", kDate);
  SetModificationDate(path, kDate);
}

// Data, a long hole, data, a hole at the end.
void MakeFileWithHoles(const std::string& path) {
  WriteFile(path, "begins");
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(400 << 10);
  file << "ends";
  file.close();
  fs::resize_file(path, 640 << 10);
  SetModificationDate(path, kDate);
}

void WriteSidecarOf(const std::string& path) {
  const fs::path item(path);
  WriteDated(item.parent_path() / ("._" + item.filename().string()), "goes with " + path, 0640);
}

std::string NameOfPath(const std::string& path) { return fs::path(path).filename().string(); }

// One that lies beside its item is told of with that.
bool IsOrphanedSidecar(const FoundItem& item) { return NameOfPath(item.path).starts_with("._"); }

// Whether `now` is the item, with its sidecar where that counts.
bool IsWhole(const FoundItem& now, const FoundItem& item, bool withSidecar) {
  return now.contents == item.contents && (!withSidecar || now.sidecar == item.sidecar);
}

// Whether a name is that of the item, or the distinct one that it gets where its own is taken.
bool IsNameFor(const std::string& name, const std::string& own) {
  if (name == own) return true;
  const fs::path whole(own);
  const std::string stem = whole.stem().string() + " - ";
  const std::string extension = whole.extension().string();
  constexpr size_t kUuidSize = 36;
  return name.starts_with(stem) && name.ends_with(extension) &&
         name.size() == stem.size() + kUuidSize + extension.size();
}

// The open descriptors that are more than a hold on a folder.
std::vector<std::string> OpenFiles() {
  std::vector<std::string> open;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    const int fd = std::stoi(entry.path().filename().string());
    const int flags = fcntl(fd, F_GETFL);
    std::error_code gone;
    const std::string target = fs::read_symlink(entry.path(), gone).string();
    if (flags < 0 || (flags & O_PATH) != 0) continue;
    // What the supervision itself has open is none of these.
    if (!target.starts_with('/') || target.starts_with("/memfd:") || target.starts_with("/proc/") ||
        target.starts_with("/dev/null")) {
      continue;
    }
    open.push_back(target);
  }
  std::sort(open.begin(), open.end());
  return open;
}

int RunProgram(const std::vector<std::string>& arguments) {
  RegisterCommentAgent();
  return static_cast<int>(RunCommandLine(arguments));
}

// What a process ends with that began with those files open and ended its run with `status`.
int CheckForLeaks(const std::vector<std::string>& before, int status) {
  const std::vector<std::string> after = OpenFiles();
  if (after.size() > before.size()) {
    for (const std::string& each : after) std::fprintf(stderr, "STILL OPEN: %s\n", each.c_str());
    return kLeakExitStatus;
  }
#ifdef TESSARY_SANITIZE
  if (__lsan_do_recoverable_leak_check() != 0) return kLeakExitStatus;
#endif
  return status;
}

}  // namespace

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> kScenarios = {
      {.name = "copy", .options = {"--kind", "extension", "--copy"}},
      {.name = "move", .options = {"--kind", "extension", "--move"}, .isMove = true},
      {.name = "move across volumes",
       .options = {"--kind", "extension", "--move"},
       .isMove = true,
       .isAcross = true},
      {.name = "copy across volumes",
       .options = {"--kind", "extension", "--copy"},
       .isAcross = true},
      {.name = "copy by type replacing with comments",
       .options = {"--kind", "mime-type", "--copy", "--replace", "--preserve-comments"},
       .replaced = "text:plain/taken.txt",
       .hasComments = true},
      {.name = "move by date",
       .options = {"--kind", "modification-date", "--move"},
       .isMove = true,
       .isByDate = true},
      {.name = "copy with sidecars",
       .options = {"--kind", "extension", "--copy"},
       .hasSidecars = true},
      {.name = "move with sidecars, replacing",
       .options = {"--kind", "extension", "--move", "--replace"},
       .isMove = true,
       .replaced = "txt/taken.txt",
       .hasSidecars = true},
      {.name = "move with sidecars across volumes",
       .options = {"--kind", "extension", "--move"},
       .isMove = true,
       .isAcross = true,
       .hasSidecars = true},
  };
  return kScenarios;
}

SupervisedResult RunWithFaults(const std::vector<std::string>& arguments, const std::string& config,
                               const std::vector<int>& numbers, const CallDecision& decide,
                               const std::function<void()>& before,
                               const std::function<void()>& after) {
  // The child is born with what this process has open, less the descriptors of the supervision.
  const std::vector<std::string> openBefore = OpenFiles();
  return RunSupervised(
      numbers, decide,
      [&] {
        // The child's own, so that nothing has to be given back.
        setenv("XDG_CONFIG_HOME", config.c_str(), 1);
        setenv("XDG_DATA_HOME", config.c_str(), 1);
        setenv("XDG_DATA_DIRS", config.c_str(), 1);
        before();
        const int status = RunProgram(arguments);
        after();
        return status;
      },
      [&openBefore](int status) { return CheckForLeaks(openBefore, status); }, kRunSeconds);
}

SupervisedResult RunWithoutFaults(const std::vector<std::string>& arguments,
                                  const std::string& config) {
  return RunWithFaults(arguments, config, {}, [](const SupervisedCall&) { return 0; });
}

ScenarioFixture::ScenarioFixture(const Scenario& scenario) : scenario_(scenario) {
  config_ = std::make_unique<TemporaryFolder>(kVolume);
  source_ = std::make_unique<TemporaryFolder>(kVolume);
  destination_ = scenario.isAcross ? std::make_unique<TemporaryFolder>(OtherVolume())
                                   : std::make_unique<TemporaryFolder>(kVolume);
  Fill();
  before_ = TakeInventory(Source(), Rules());
  existingItems_ = TakeInventory(Destination(), Rules());
}

bool ScenarioFixture::IsSupported(const Scenario& scenario) {
  if (!fs::is_directory(kVolume)) return false;
  return !scenario.isAcross || AreOnDifferentVolumes(OtherVolume(), kVolume);
}

void ScenarioFixture::Fill() const {
  const std::string source = Source() + "/";
  WriteDated(source + "report.txt", Repeat("report ", 700), 0640);
  (void)SetAttribute(source + "report.txt", "user.note", "keep me");
  (void)SetAttribute(source + "report.txt", "user.tessary.creation-date",
                     "2009-02-13T23:31:30.000000000Z");
  WriteDated(source + "large.bin", Repeat("large ", 300'000), 0444);
  WriteDated(source + "caf\xe9.txt", "no text in its name", 0644);
  MakeFileWithHoles(source + "holes.img");
  // A link that has been moved may lead nowhere, and then has no date to go by.
  if (!scenario_.isByDate) {
    MakeLink("report.txt", source + "link.lnk");
    SetModificationDate(source + "link.lnk", kDate);
  }
  WriteDated(source + "below/taken.txt", "the new one", 0644);
  if (scenario_.hasComments) {
    (void)SetAttribute(source + "below/taken.txt", "user.xdg.comment", "a comment");
  }
  MakePackage(source + "below/Thing.app");
  WriteDated(Destination() + "/txt/taken.txt", "the old one", 0600);
  WriteDated(Destination() + "/text:plain/taken.txt", "the old one of that type", 0600);
  if (scenario_.hasSidecars) {
    for (const std::string name : {"report.txt", "below/taken.txt", "below/Thing.app"}) {
      WriteSidecarOf(source + name);
    }
    WriteSidecarOf(Destination() + "/txt/taken.txt");
  }
  WriteFile(*config_ / "tessary/preferences.toml", "QuitWhenDone = false\n");
  WriteFile(*config_ / "mime/globs2", "50:text/plain:*.txt\n50:application/octet-stream:*.bin\n");
}

std::vector<std::string> ScenarioFixture::Arguments() const {
  std::vector<std::string> arguments = {"aggregate", "--recurse"};
  arguments.insert(arguments.end(), scenario_.options.begin(), scenario_.options.end());
  arguments.push_back(Source());
  arguments.push_back(Destination());
  return arguments;
}

SupervisedResult ScenarioFixture::Run(const std::vector<int>& numbers,
                                      const CallDecision& decide) const {
  return RunWithFaults(Arguments(), config_->path(), numbers, decide);
}

SupervisedResult ScenarioFixture::RunWithHooks(const std::function<void()>& before,
                                               const std::function<void()>& after) const {
  return RunWithFaults(
      Arguments(), config_->path(), {}, [](const SupervisedCall&) { return 0; }, before, after);
}

// By a line about it, or about the folder that it lies in, or about the whole run.
bool ScenarioFixture::IsReported(const FoundItem& item, const SupervisedResult& result) const {
  if (result.exitStatus == 1) return result.output.find("tessary-cli: ") != std::string::npos;
  const std::string name = NameOfPath(item.path);
  const std::string plain = name.substr(0, name.find('\xe9'));
  if (result.output.find("/" + plain) != std::string::npos) return true;
  // Where memory has run out there is none for names either.
  for (const std::string line : {"An error occurred: -108", "tessary-cli: out of memory"}) {
    if (result.output.find(line) != std::string::npos) return true;
  }
  // One that cannot even be asked for its path.
  if (result.output.find("tessary-cli: an item: not filed") != std::string::npos) return true;
  if (result.output.find("tessary-cli: a folder: cannot list") != std::string::npos) {
    return true;
  }
  const std::string folder = fs::path(Source() + "/" + item.path).parent_path().string();
  for (const std::string& above : {folder, Source()}) {
    const std::string line = "tessary-cli: " + above + ": cannot list";
    if (result.output.find(line) != std::string::npos) return true;
  }
  return false;
}

void ScenarioFixture::FindDestinationViolations(bool withSidecars,
                                                std::vector<FoundItem>* inDestination,
                                                std::vector<Violation>* violations) const {
  for (const FoundItem& had : existingItems_) {
    const auto found =
        std::find_if(inDestination->begin(), inDestination->end(), [&](const FoundItem& item) {
          // By date, what lies in a folder of the destination is filed within that.
          const std::string name = NameOfPath(item.path);
          const std::string own = NameOfPath(had.path);
          const bool isNameKept = scenario_.isByDate ? IsNameFor(name, own) : name == own;
          return isNameKept && IsWhole(item, had, withSidecars);
        });
    if (found != inDestination->end()) {
      inDestination->erase(found);
    } else if (had.path != scenario_.replaced) {
      violations->push_back({"lost", "what the destination had is gone or changed: " + had.path});
    }
  }
}

size_t ScenarioFixture::RemoveFiled(const FoundItem& item, bool withSidecar,
                                    std::vector<FoundItem>* inDestination) {
  const auto end =
      std::remove_if(inDestination->begin(), inDestination->end(), [&](const FoundItem& now) {
        return IsWhole(now, item, withSidecar) &&
               IsNameFor(NameOfPath(now.path), NameOfPath(item.path));
      });
  const auto count = static_cast<size_t>(inDestination->end() - end);
  inDestination->erase(end, inDestination->end());
  return count;
}

void ScenarioFixture::CheckItem(const FoundItem& item, size_t sourceCount, size_t away,
                                bool hasFailedOnce, std::vector<Violation>* violations) const {
  const std::string where = item.path + " is " + std::to_string(sourceCount) +
                            " times in the source and " + std::to_string(away) +
                            " times in the destination";
  if (sourceCount + away == 0) violations->push_back({"lost", where});
  const bool isOneTooMany = scenario_.isMove && hasFailedOnce && sourceCount + away > 1;
  if (away > 1 || isOneTooMany) violations->push_back({"doubled", where});
  if (!scenario_.isMove && sourceCount != 1) violations->push_back({"lost", where});
}

std::vector<Violation> ScenarioFixture::FindViolations(const SupervisedResult& result,
                                                       bool hasFailedOnce) const {
  std::vector<Violation> violations;
  const int exitStatus = result.exitStatus;
  if (result.hasTimedOut) violations.push_back({"hung", ""});
  if (result.signal != 0) violations.push_back({"died", std::to_string(result.signal)});
  if (exitStatus == kLeakExitStatus) violations.push_back({"leaking", result.output});
  std::vector<FoundItem> inSource = TakeInventory(Source(), Rules());
  std::vector<FoundItem> inDestination = TakeInventory(Destination(), Rules());
  // What is refused again and again can part the two, as it keeps a sidecar from being taken back.
  // The later run has to bring them together (FindLastingViolations).
  const bool withSidecars = hasFailedOnce;
  FindDestinationViolations(withSidecars, &inDestination, &violations);
  size_t filed = 0;
  for (const FoundItem& item : before_) {
    const auto end = std::remove_if(inSource.begin(), inSource.end(), [&](const auto& now) {
      return now.path == item.path && IsWhole(now, item, withSidecars);
    });
    const auto sourceCount = static_cast<size_t>(inSource.end() - end);
    inSource.erase(end, inSource.end());
    const size_t away = RemoveFiled(item, withSidecars, &inDestination);
    CheckItem(item, sourceCount, away, hasFailedOnce, &violations);
    if (away > 0) ++filed;
    if (away == 0 && !IsReported(item, result)) violations.push_back({"untold", item.path});
  }
  for (auto* left : {&inSource, &inDestination}) {
    if (!withSidecars) std::erase_if(*left, IsOrphanedSidecar);
    for (const FoundItem& unexpected : *left) violations.push_back({"partial", unexpected.path});
  }
  const bool isReportedByStatus = exitStatus == 3 || (exitStatus == 1 && filed == 0);
  if (filed < before_.size() && !isReportedByStatus) {
    violations.push_back({"misreported", "exit status " + std::to_string(exitStatus) + " with " +
                                             std::to_string(before_.size() - filed) +
                                             " not filed"});
  }
  return violations;
}

// What a run that was hampered could not remove is swept by the next one that has something to do
// there.
void ScenarioFixture::AddNewItems() const {
  for (const std::string& folder : {Source(), Source() + "/below"}) {
    for (const std::string extension : {"txt", "bin", "img", "lnk", "app"}) {
      WriteDated(fs::path(folder) / ("another." + extension), folder, 0644);
    }
  }
}

std::vector<Violation> ScenarioFixture::FindLastingViolations() const {
  AddNewItems();
  const SupervisedResult result = Run({}, [](const SupervisedCall&) { return 0; });
  std::vector<Violation> violations;
  if (result.exitStatus != 0) {
    violations.push_back({"lasting", "a later run ends with " + std::to_string(result.exitStatus) +
                                         ":\n" + result.output});
  }
  for (const std::string& folder : {Source(), Destination()}) {
    for (const std::string& path : FindTempFiles(folder)) violations.push_back({"lasting", path});
  }
  std::vector<FoundItem> inDestination = TakeInventory(Destination(), Rules());
  for (const FoundItem& item : inDestination) {
    if (IsOrphanedSidecar(item)) violations.push_back({"lasting", item.path});
  }
  for (const FoundItem& item : before_) {
    if (RemoveFiled(item, true, &inDestination) == 0) {
      violations.push_back({"lasting", "a later run has not filed " + item.path});
    }
  }
  return violations;
}

const std::vector<std::string>& ViolationKinds() {
  static const std::vector<std::string> kKinds = {"lost",        "doubled",  "partial", "untold",
                                                  "misreported", "misnamed", "leaking", "hung",
                                                  "died",        "lasting"};
  return kKinds;
}

}  // namespace tessary::test
