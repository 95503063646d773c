#include "tests/faults/errors/scenario_fixture.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/distinct_names.h"
#include "tests/support/file_operations.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/memory_volume.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

// The folder for the destination of a run across filesystems: in memory if this process may mount a
// filesystem there, as syncing to a disk takes longer than everything else.
std::string OtherFilesystem() {
  static const std::string kPath = [] {
    std::string reason;
    if (!EnterMountNamespace(&reason)) return fs::temp_directory_path().string();
    // Unmounted with the namespace when the process ends.
    static const MemoryVolume* volume = new MemoryVolume("size=1g");
    return volume->IsMounted() ? volume->path() : fs::temp_directory_path().string();
  }();
  return kPath;
}

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
  WriteDated(path + "/Contents/Info.plist", "property list", 0644);
  WriteDated(path + "/Contents/Resources/picture.bin", Repeat("picture ", 9000), 0600);
  fs::create_hard_link(path + "/Contents/Resources/picture.bin", path + "/Contents/again.bin");
  MakeLink("Resources/picture.bin", path + "/Contents/current");
  MakeFolder(path + "/Contents/Empty");
  (void)SetAttribute(path + "/Contents/Info.plist", "user.note", "inside");
  for (const char* each :
       {"/Contents/Resources", "/Contents/Empty", "/Contents/current", "/Contents", ""}) {
    SetModificationDate(path + each, kDate);
  }
}

void MakeFileWithHoles(const std::string& path) {
  MakeSparseFile(path, "begins", 400 << 10);
  std::ofstream(path, std::ios::app) << "ends";
  fs::resize_file(path, 640 << 10);
  SetModificationDate(path, kDate);
}

void WriteSidecarOf(const std::string& path) {
  WriteDated(SidecarPath(path), "sidecar of " + path, 0640);
}

std::string NameOfPath(const std::string& path) { return fs::path(path).filename().string(); }

// The sidecar of an existing item is not a FoundItem itself.
bool IsOrphanedSidecar(const FoundItem& item) { return NameOfPath(item.path).starts_with("._"); }

bool IsWhole(const FoundItem& now, const FoundItem& item, bool withSidecar) {
  return now.contents == item.contents && (!withSidecar || now.sidecar == item.sidecar);
}

}  // namespace

const std::vector<std::string>& ViolationNames() {
  static const std::vector<std::string> kNames = {
      "lost",        "duplicated", "partial", "unreported", "misreported",
      "wrong error", "leaked",     "hung",    "crashed",    "not recovered"};
  return kNames;
}

ScenarioFixture::ScenarioFixture(const Scenario& scenario)
    : scenario_(scenario),
      config_(MemoryFolder()),
      source_(MemoryFolder()),
      destination_(scenario.isAcross ? OtherFilesystem() : MemoryFolder()) {
  Fill();
  // Longer than a tick of most kernels: copies of files that have just been changed are not
  // prepared.
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  sourceItems_ = TakeInventory(Source(), Aspects());
  existingItems_ = TakeInventory(Destination(), Aspects());
}

bool ScenarioFixture::IsSupported(const Scenario& scenario) {
  return !scenario.isAcross || AreOnDifferentVolumes(OtherFilesystem(), MemoryFolder());
}

void ScenarioFixture::Fill() const {
  const std::string source = Source() + "/";
  WriteDated(source + "report.txt", Repeat("report ", 700), 0640);
  (void)SetAttribute(source + "report.txt", "user.note", "keep me");
  (void)SetAttribute(source + "report.txt", "user.tessary.creation-date",
                     "2009-02-13T23:31:30.000000000Z");
  WriteDated(source + "large.bin", Repeat("large ", 300'000), 0444);
  WriteDated(source + "caf\xe9.txt", "name is not UTF-8", 0644);
  MakeFileWithHoles(source + "holes.img");
  // A link that is moved may become dangling, and a dangling link has no date.
  if (!scenario_.isByDate) {
    MakeLink("report.txt", source + "link.lnk");
    SetModificationDate(source + "link.lnk", kDate);
  }
  WriteDated(source + "below/existing.txt", "incoming", 0644);
  if (scenario_.hasComments) {
    (void)SetAttribute(source + "below/existing.txt", "user.xdg.comment", "a comment");
  }
  MakePackage(source + "below/Thing.app");
  WriteDated(Destination() + "/txt/existing.txt", "existing", 0600);
  WriteDated(Destination() + "/text:plain/existing.txt", "existing, by type", 0600);
  if (scenario_.hasSidecars) {
    for (const std::string name : {"report.txt", "below/existing.txt", "below/Thing.app"}) {
      WriteSidecarOf(source + name);
    }
    WriteSidecarOf(Destination() + "/txt/existing.txt");
  }
  WriteFile(config_ / "tessary/preferences.toml", "QuitWhenDone = false\n");
  WriteFile(config_ / "mime/globs2", "50:text/plain:*.txt\n50:application/octet-stream:*.bin\n");
}

std::vector<std::string> ScenarioFixture::Arguments() const {
  std::vector<std::string> arguments = {"aggregate", "--recurse"};
  arguments.insert(arguments.end(), scenario_.options.begin(), scenario_.options.end());
  arguments.push_back(Source());
  arguments.push_back(Destination());
  return arguments;
}

SupervisedResult ScenarioFixture::Run(const std::vector<int>& numbers, const CallDecision& decide,
                                      const std::function<void()>& before,
                                      const std::function<void()>& after) const {
  return RunWithFaults(Arguments(), config_.path(), numbers, decide, before, after);
}

// Returns whether the output names the item, or reports an error that explains why it was not
// filed.
bool ScenarioFixture::IsReported(const FoundItem& item, const SupervisedResult& result) const {
  if (result.exitStatus == 1) return result.output.find("tessary-cli: ") != std::string::npos;
  const std::string name = NameOfPath(item.path);
  const std::string plain = name.substr(0, name.find('\xe9'));
  if (result.output.find("/" + plain) != std::string::npos) return true;
  // Without memory, names cannot be printed.
  for (const std::string line : {"An error occurred: -108", "tessary-cli: out of memory"}) {
    if (result.output.find(line) != std::string::npos) return true;
  }
  // The path of the item cannot be determined.
  for (const std::string line : {"tessary-cli: an item: ", "tessary-cli: a folder: "}) {
    if (result.output.find(line) != std::string::npos) return true;
  }
  const std::string folder = fs::path(Source() + "/" + item.path).parent_path().string();
  for (const std::string& above : {folder, Source()}) {
    const std::string line = "tessary-cli: " + above + ": contents not filed";
    if (result.output.find(line) != std::string::npos) return true;
  }
  return false;
}

// Checks that all existing items are unchanged, unless replaced, and removes them from the list.
void ScenarioFixture::CheckExistingItems(bool withSidecars, std::vector<FoundItem>* inDestination,
                                         std::vector<SoakViolation>* violations) const {
  for (const FoundItem& existing : existingItems_) {
    const std::string name = NameOfPath(existing.path);
    const auto found =
        std::find_if(inDestination->begin(), inDestination->end(), [&](const FoundItem& item) {
          // By date, existing items are filed, too, and may get distinct names.
          const bool isNameKept = scenario_.isByDate
                                      ? IsSameOrDistinctName(NameOfPath(item.path), name)
                                      : NameOfPath(item.path) == name;
          return isNameKept && IsWhole(item, existing, withSidecars);
        });
    if (found != inDestination->end()) {
      inDestination->erase(found);
    } else if (existing.path != scenario_.replaced) {
      violations->push_back({"lost", "gone or changed in the destination: " + existing.path});
    }
  }
}

// Removes the copies of an item from the list and returns how many there were.
size_t ScenarioFixture::RemoveFiled(const FoundItem& item, bool withSidecar,
                                    std::vector<FoundItem>* inDestination) {
  return std::erase_if(*inDestination, [&](const FoundItem& now) {
    return IsWhole(now, item, withSidecar) &&
           IsSameOrDistinctName(NameOfPath(now.path), NameOfPath(item.path));
  });
}

void ScenarioFixture::CheckItem(const FoundItem& item, size_t inSource, size_t inDestination,
                                bool hasFailedOnce, std::vector<SoakViolation>* violations) const {
  const std::string where = item.path + " is " + std::to_string(inSource) +
                            " times in the source and " + std::to_string(inDestination) +
                            " times in the destination";
  const bool isLost = inSource + inDestination == 0 || (!scenario_.isMove && inSource != 1);
  if (isLost) violations->push_back({"lost", where});
  const bool isMovedTwice = scenario_.isMove && hasFailedOnce && inSource + inDestination > 1;
  if (inDestination > 1 || isMovedTwice) violations->push_back({"duplicated", where});
}

std::vector<SoakViolation> ScenarioFixture::FindViolations(const SupervisedResult& result,
                                                           bool hasFailedOnce) const {
  std::vector<SoakViolation> violations;
  const int exitStatus = result.exitStatus;
  if (result.hasTimedOut) violations.push_back({"hung", ""});
  if (result.signal != 0) violations.push_back({"crashed", std::to_string(result.signal)});
  if (exitStatus == kLeakExitStatus) violations.push_back({"leaked", result.output});
  std::vector<FoundItem> inSource = TakeInventory(Source(), Aspects());
  std::vector<FoundItem> inDestination = TakeInventory(Destination(), Aspects());
  // Repeated errors may prevent the rollback of a sidecar. FindUnrecovered checks that the next run
  // recovers it.
  const bool withSidecars = hasFailedOnce;
  CheckExistingItems(withSidecars, &inDestination, &violations);
  size_t filedCount = 0;
  for (const FoundItem& item : sourceItems_) {
    const size_t sourceCount = std::erase_if(inSource, [&](const FoundItem& now) {
      return now.path == item.path && IsWhole(now, item, withSidecars);
    });
    const size_t destinationCount = RemoveFiled(item, withSidecars, &inDestination);
    CheckItem(item, sourceCount, destinationCount, hasFailedOnce, &violations);
    if (destinationCount > 0) {
      ++filedCount;
    } else if (!IsReported(item, result)) {
      violations.push_back({"unreported", item.path});
    }
  }
  for (auto* remaining : {&inSource, &inDestination}) {
    if (!withSidecars) std::erase_if(*remaining, IsOrphanedSidecar);
    for (const FoundItem& item : *remaining) violations.push_back({"partial", item.path});
  }
  const bool isFailureStatus = exitStatus == 3 || (exitStatus == 1 && filedCount == 0);
  if (filedCount < sourceItems_.size() && !isFailureStatus) {
    violations.push_back({"misreported", "exit status " + std::to_string(exitStatus) + ", " +
                                             std::to_string(sourceItems_.size() - filedCount) +
                                             " items not filed"});
  }
  return violations;
}

// A run cleans up only the folders in which it works, so each gets an item.
void ScenarioFixture::AddNewItems() const {
  for (const std::string& folder : {Source(), Source() + "/below"}) {
    for (const std::string extension : {"txt", "bin", "img", "lnk", "app"}) {
      WriteDated(fs::path(folder) / ("another." + extension), folder, 0644);
    }
  }
}

std::vector<SoakViolation> ScenarioFixture::FindUnrecovered() const {
  AddNewItems();
  const SupervisedResult result = RunWithoutFaults(Arguments(), config_.path());
  std::vector<std::string> unrecovered;
  if (result.exitStatus != 0) {
    unrecovered.push_back("exit status " + std::to_string(result.exitStatus) +
                          " of the next run:\n" + result.output);
  }
  for (const std::string& folder : {Source(), Destination()}) {
    for (const std::string& path : FindTempFiles(folder)) unrecovered.push_back(path);
  }
  std::vector<FoundItem> inDestination = TakeInventory(Destination(), Aspects());
  for (const FoundItem& item : inDestination) {
    if (IsOrphanedSidecar(item)) unrecovered.push_back(item.path);
  }
  for (const FoundItem& item : sourceItems_) {
    if (RemoveFiled(item, true, &inDestination) == 0) {
      unrecovered.push_back("not filed by the next run: " + item.path);
    }
  }
  std::vector<SoakViolation> violations;
  for (const std::string& each : unrecovered) violations.push_back({"not recovered", each});
  return violations;
}

}  // namespace tessary::test
