// Runs over items that have sidecars.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "engine/run.h"
#include "platform/managers/file_manager.h"
#include "tests/engine/engine_fixture.h"
#include "tests/support/captured_log.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/process_kills.h"
#include "tests/support/file_operations.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/run_in_child.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

std::string SidecarOf(const std::string& path) {
  const fs::path whole(path);
  return (whole.parent_path() / ("._" + whole.filename().string())).string();
}

// The file with an item's contents: in a package, a file inside.
std::string ContentsPath(const std::string& path) {
  return path.ends_with(".app") ? path + "/Contents/id" : path;
}

// The sidecar of the item with these contents, and of no other.
std::string SidecarBytes(const std::string& contents) {
  return MakeSidecar(std::string("TEXTttxt") + std::string(24, '\0'), {{"id", contents}},
                     "fork of " + contents);
}

void MakeItemWithSidecar(const std::string& path, const std::string& contents) {
  WriteFile(ContentsPath(path), contents);
  WriteFile(SidecarOf(path), SidecarBytes(contents));
  SetModificationDate(path, 1'236'168'000);
}

struct Placement {
  const char* name;
  bool isSourceInMemory;
  bool isDestinationInMemory;
};

// A source and a destination, each on the filesystem of the temporary folder or in memory.
class RunSidecars : public testing::TestWithParam<Placement> {
 protected:
  RunSidecars()
      : source_((GetParam().isSourceInMemory ? memory_ : disk_) / "source"),
        destination_((GetParam().isDestinationInMemory ? memory_ : disk_) / "destination") {}

  void SetUp() override {
    if (IsAcross() && !AreOnDifferentVolumes(disk_.path(), memory_.path())) {
      GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
    }
  }

  static bool IsAcross() { return GetParam().isSourceInMemory != GetParam().isDestinationInMemory; }

  void ClearFolders() const {
    for (const std::string& folder : {source_, destination_}) {
      fs::remove_all(folder);
      MakeFolder(folder);
    }
  }

  void Set(int kind, bool copies, bool replaces, bool recurses = true) const {
    preferences_.Write(std::string("RecurseFolders = ") + (recurses ? "true" : "false") +
                       "\nTessaryType = " + std::to_string(kind) +
                       "\nFileOperation = " + (copies ? "2" : "1") +
                       "\nReplaceFilesBySameName = " + (replaces ? "true" : "false") + "\n");
  }

  void Run() const { AggregateFolder(RefAt(source_), RefAt(destination_)); }

  // Fails the test if an item that was listed has disappeared.
  void RunWithoutErrors() const {
    Run();
    EXPECT_THAT(log_.Messages(), Each(Not(HasSubstr("Inavlid"))));
  }

  std::string InSource(const std::string& name) const { return source_ + "/" + name; }

  // Items that have a key for each kind of run.
  void MakeSource(const std::string& run) const {
    const std::string beginning = run + " ";
    for (const std::string& name : Names()) MakeItemWithSidecar(InSource(name), beginning + name);
    WriteFile(source_ + "/alone.txt", run + " alone");
  }

  static std::vector<std::string> Names() {
    return {"a.txt", "caf\xe9.txt", "two..dots.jpg", "below/inner.txt", "below/Tool.app"};
  }

  // The contents of the items in both folders, by path. A package is one item.
  std::map<std::string, std::string> Items() const {
    std::map<std::string, std::string> items;
    for (const std::string& folder : {source_, destination_}) {
      for (const std::string& file : FilesBelow(folder)) {
        std::string path = folder;
        path.append("/").append(file);
        if (fs::path(path).filename().string().starts_with("._")) continue;
        const size_t inside = path.find(".app/");
        const std::string contents = ReadFile(path);
        if (inside != std::string::npos) path.erase(inside + 4);
        items[path] = contents;
      }
    }
    return items;
  }

  // Expects that every item has its own sidecar, and that there are no other sidecars but the
  // orphans, and nothing hidden.
  void ExpectItemsWithSidecars(const std::vector<std::string>& orphans) const {
    size_t expected = orphans.size();
    for (const auto& [path, contents] : Items()) {
      if (contents.ends_with("alone")) {
        EXPECT_FALSE(fs::exists(SidecarOf(path))) << path;
        continue;
      }
      ++expected;
      ASSERT_TRUE(fs::exists(SidecarOf(path))) << path;
      EXPECT_EQ(SidecarBytes(contents), ReadFile(SidecarOf(path))) << path;
    }
    size_t sidecars = 0;
    for (const std::string& folder : {source_, destination_}) {
      for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        EXPECT_THAT(name, Not(HasSubstr("tessary-"))) << folder;
        if (name.starts_with("._")) ++sidecars;
      }
    }
    EXPECT_EQ(expected, sidecars);
    for (const std::string& orphan : orphans) EXPECT_TRUE(fs::exists(orphan)) << orphan;
  }

  size_t CountItems(const std::string& contents) const {
    const std::map<std::string, std::string> items = Items();
    return static_cast<size_t>(std::count_if(
        items.begin(), items.end(), [&](const auto& item) { return item.second == contents; }));
  }

  std::string InDestination(const std::string& contents) const {
    for (const auto& [path, text] : Items()) {
      if (text == contents && path.starts_with(destination_)) return path;
    }
    ADD_FAILURE() << "nothing in the destination has the contents " << contents;
    return {};
  }

  void RunKind(int kind, bool copies, bool replaces) const;
  void KillAtEveryCall(const std::string& name, bool copies, bool replaces) const;
  void KillMoveByDate(const std::string& name, bool hasNoReplace) const;

  TemporaryFolder disk_;
  TemporaryFolder memory_{"/dev/shm"};
  const std::string source_;
  const std::string destination_;
  PreferencesFolder preferences_;
  CapturedLog log_;
};

INSTANTIATE_TEST_SUITE_P(Placement, RunSidecars,
                         testing::Values(Placement{"OnDisk", false, false},
                                         Placement{"InMemory", true, true},
                                         Placement{"ToMemory", false, true},
                                         Placement{"ToDisk", true, false}),
                         [](const auto& row) { return std::string(row.param.name); });

// A run into an empty destination, and a second one over the result.
void RunSidecars::RunKind(int kind, bool copies, bool replaces) const {
  ClearFolders();
  Set(kind, copies, replaces);
  MakeSource("first");
  WriteFile(source_ + "/._orphan.txt", "orphan");
  Run();
  const std::string orphan = source_ + "/._orphan.txt";
  ExpectItemsWithSidecars({orphan});
  for (const std::string& name : Names()) EXPECT_EQ(copies ? 2U : 1U, CountItems("first " + name));

  // In the destination are now an item with its sidecar, one without, and an orphaned sidecar.
  fs::remove_all(source_);
  MakeSource("second");
  const std::string orphaned = SidecarOf(InDestination("first a.txt"));
  ASSERT_EQ(0, unlink(InDestination("first a.txt").c_str()));
  ASSERT_EQ(0, unlink(SidecarOf(InDestination("first below/inner.txt")).c_str()));
  WriteFile(InDestination("first below/inner.txt"), "first without its alone");
  Run();
  ExpectItemsWithSidecars({orphaned});
  for (const std::string& name : Names()) EXPECT_EQ(copies ? 2U : 1U, CountItems("second " + name));
  EXPECT_EQ(SidecarBytes("first a.txt"), ReadFile(orphaned));
  EXPECT_EQ(replaces ? 0U : 1U, CountItems("first caf\xe9.txt"));
  EXPECT_EQ(replaces ? 0U : 1U, CountItems("first without its alone"));
  EXPECT_EQ(1U, CountItems("first below/Tool.app")) << "a folder that is not empty stays";
}

TEST_P(RunSidecars, AreFiledWithTheirItems) {
  for (const int kind : {1, 2, 3, 4, 5}) {
    for (const bool copies : {false, true}) {
      for (const bool replaces : {false, true}) {
        SCOPED_TRACE("kind " + std::to_string(kind) + (copies ? " copying" : " moving") +
                     (replaces ? " replacing" : ""));
        RunKind(kind, copies, replaces);
      }
    }
  }
}

TEST_P(RunSidecars, OrphanedSidecarAtTargetLeavesOtherItemsTheirNames) {
  for (const bool copies : {false, true}) {
    for (const bool replaces : {false, true}) {
      ClearFolders();
      Set(1, copies, replaces);
      WriteFile(source_ + "/alone.txt", "alone");
      MakeItemWithSidecar(source_ + "/a.txt", "a");
      // Of another folder, in which no sidecar is seen.
      WriteFile(InSource("below/too.txt"), "too is alone");
      for (const std::string name : {"alone.txt", "too.txt"}) {
        WriteFile(destination_ + "/txt/._" + name, "orphaned");
      }
      Run();
      EXPECT_THAT(NamesIn(destination_ + "/txt"), ElementsAre("._a.txt", "._alone.txt", "._too.txt",
                                                              "a.txt", "alone.txt", "too.txt"));
      EXPECT_EQ("orphaned", ReadFile(destination_ + "/txt/._alone.txt"));
      EXPECT_EQ("orphaned", ReadFile(destination_ + "/txt/._too.txt"));
    }
  }
}

TEST_P(RunSidecars, ItemWithSidecarNeedsBothNames) {
  for (const bool copies : {false, true}) {
    for (const std::string existing : {"a.txt", "._a.txt"}) {
      ClearFolders();
      Set(1, copies, /*replaces=*/existing.starts_with("._"));
      MakeItemWithSidecar(source_ + "/a.txt", "a");
      WriteFile(destination_ + "/txt/" + existing, "existing");
      Run();
      EXPECT_EQ("existing", ReadFile(destination_ + "/txt/" + existing));
      const std::string filed = InDestination("a");
      EXPECT_THAT(fs::path(filed).filename().string(),
                  MatchesRegex(DistinctName("a - ", "\\.txt")));
      EXPECT_EQ(SidecarBytes("a"), ReadFile(SidecarOf(filed)));
      EXPECT_EQ(3U, NamesIn(destination_ + "/txt").size());
    }
  }
}

TEST_P(RunSidecars, OrphanedSidecarOfKeyFolderIsIgnored) {
  ClearFolders();
  Set(1, /*copies=*/false, /*replaces=*/false);
  MakeItemWithSidecar(source_ + "/a.txt", "a");
  WriteFile(destination_ + "/._txt", "of a folder that is gone");
  Run();
  EXPECT_THAT(NamesIn(destination_ + "/txt"), ElementsAre("._a.txt", "a.txt"));
}

// Kills a run before each of its system calls in turn, and runs again.
void RunSidecars::KillAtEveryCall(const std::string& name, bool copies, bool replaces) const {
  if (HasFailure()) return;
  Set(1, copies, replaces, /*recurses=*/false);
  KillResult end = KillResult::kKilled;
  for (unsigned call = 1; end == KillResult::kKilled && !HasFailure(); ++call) {
    SCOPED_TRACE((copies ? "copying " : "moving ") + name + (replaces ? ", replacing" : "") +
                 ", killed before change " + std::to_string(call));
    ClearFolders();
    MakeItemWithSidecar(
        destination_ + "/" + fs::path(name).extension().string().substr(1) + "/" + name, "old");
    MakeItemWithSidecar(source_ + "/" + name, "new");
    end = RunAndKillBeforeCall(call, [this] { Run(); });
    if (end == KillResult::kNotPermitted) GTEST_SKIP() << "no process may trace another one here";
    ASSERT_NE(KillResult::kFailed, end);
    ASSERT_TRUE(RunInChild([this] { RunWithoutErrors(); }));

    ExpectItemsWithSidecars({});
    if (copies || IsAcross()) {
      EXPECT_LE(copies ? 2U : 1U, CountItems("new"));
    } else {
      EXPECT_EQ(1U, CountItems("new"));
    }
    EXPECT_EQ(!replaces || name.ends_with(".app") ? 1U : 0U, CountItems("old"));
  }
}

TEST_P(RunSidecars, KilledMoveIsRecovered) {
  KillAtEveryCall("a.txt", /*copies=*/false, /*replaces=*/false);
}

TEST_P(RunSidecars, KilledMoveThatReplacesIsRecovered) {
  KillAtEveryCall("a.txt", /*copies=*/false, /*replaces=*/true);
}

TEST_P(RunSidecars, KilledMoveOfPackageIsRecovered) {
  KillAtEveryCall("Tool.app", /*copies=*/false, /*replaces=*/false);
}

TEST_P(RunSidecars, KilledCopyIsRecovered) {
  KillAtEveryCall("a.txt", /*copies=*/true, /*replaces=*/true);
}

// The day pass finds what the killed run has moved, before the folder that it came from is visited.
void RunSidecars::KillMoveByDate(const std::string& name, bool hasNoReplace) const {
  KillResult end = KillResult::kKilled;
  for (unsigned call = 1; end == KillResult::kKilled && !HasFailure(); ++call) {
    SCOPED_TRACE(name + ", killed before change " + std::to_string(call));
    ClearFolders();
    Set(4, /*copies=*/false, /*replaces=*/false);
    MakeItemWithSidecar(InSource("below/" + name), "new");
    end = RunAndKillBeforeCall(call, [&] {
      if (!hasNoReplace) {
        EXPECT_TRUE(InjectErrors({{SYS_renameat2, EINVAL, 4, RENAME_NOREPLACE}}));
      }
      AggregateFolder(RefAt(InSource("below")), RefAt(destination_));
    });
    if (end == KillResult::kNotPermitted) GTEST_SKIP() << "no process may trace another one here";
    ASSERT_NE(KillResult::kFailed, end);
    // A folder that is visited first: its day pass goes over the year folders.
    ASSERT_TRUE(RunInChild([this] {
      MakeFolder(InSource("beside"));
      AggregateFolder(RefAt(InSource("beside")), RefAt(destination_));
      RunWithoutErrors();
    }));
    ExpectItemsWithSidecars({});
    // A copy that was complete when the run was killed stays beside the original.
    EXPECT_LE(1U, Items().size());
    if (!IsAcross()) {
      EXPECT_EQ(1U, Items().size());
    }
    EXPECT_EQ(0U, FilesBelow(source_).size());
  }
}

TEST_P(RunSidecars, KilledMoveByDateIsRecovered) {
  for (const std::string name : {"a.txt", "Tool.app"}) KillMoveByDate(name, true);
}

// Renames in two steps, between which an item has two names.
TEST_P(RunSidecars, KilledMoveByDateIsRecoveredWithoutNoReplace) {
  if (IsAcross()) GTEST_SKIP() << "the item is copied, not renamed";
  for (const std::string name : {"a.txt", "Tool.app"}) KillMoveByDate(name, false);
}

}  // namespace
}  // namespace tessary::test
