#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/operations/object_state.h"
#include "platform/managers/change_reversal.h"
#include "tests/faults/child_process.h"
#include "tests/faults/run_plan.h"
#include "tests/faults/test_data.h"
#include "tests/faults/two_filesystems.h"
#include "tests/support/fault_injection/process_kills.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/tree_lines.h"

// Runs with a journal that are undone. The run and the first undos may be killed at a random point.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

const SoakSuite kUndoSuite("UndoneRun");
const SoakSuite kUndoVolumeSuite("UndoneRunOn");

class UndoneRun {
 public:
  UndoneRun(const TwoFolders& folders, SoakRandom& random, Soak* soak)
      : soak_(soak),
        source_(folders.first + "/source"),
        destination_(folders.second + "/destination"),
        journal_(folders.first + "/journal"),
        isAcross_(folders.first != folders.second),
        plan_{random.OneIn(2), random.OneIn(2), false, !random.OneIn(3)},
        testData_(folders.traits),
        setup_(SetupWith(folders.first + "/config")) {
    MakeFolder(source_ + "/first");
    testData_.Fill(source_, 1 + random.Below(16), plan_.isRecursing, random);
    MakeFolder(source_ + "/last");
    if (!random.OneIn(3)) PutExistingItems(random);
    if (random.OneIn(2)) testData_.PutSidecars(random);
    before_ = Trees();
    arguments_ = plan_.Arguments(source_, destination_);
    arguments_.push_back("--journal=" + journal_);
  }

  // Runs to the end, or kills the run.
  void Run(SoakRandom& random) {
    if (random.OneIn(3)) {
      ChildProcess run(arguments_, setup_);
      AwaitEnd(&run, Explain("the run"), soak_);
      return;
    }
    how_ = "killed " + Kill(arguments_, random);
  }

  // Kills some undos. The last one ends by itself.
  void Undo(SoakRandom& random) {
    const std::vector<std::string> undo = {"undo", journal_};
    for (uint64_t kills = random.Below(3); kills > 0; --kills) {
      how_ += ", an undo killed " + Kill(undo, random);
    }
    ChildProcess last(undo, setup_);
    AwaitEnd(&last, Explain("undo"), soak_);
    if (last.status() != 0 && HasHeader()) {
      soak_->AddViolation("not restored", Explain("undo failed: " + last.Errors()));
    }
    CheckTrees("undo");
  }

  // Another undo does nothing.
  void UndoAgain() {
    ChildProcess again({"undo", journal_}, setup_);
    AwaitEnd(&again, Explain("the second undo"), soak_);
    CheckTrees("the second undo");
  }

 private:
  // Puts items under names that the run uses, and into folders whose items a run by date moves.
  void PutExistingItems(SoakRandom& random) {
    MakeFolder(destination_);
    const size_t count = testData_.size();
    for (size_t item = 0; item < count; ++item) {
      if (!random.OneIn(4)) continue;
      const std::string name = fs::path(testData_.PathOf(item)).filename();
      const std::string folder = destination_ + "/" + name.substr(name.rfind('.') + 1) + "/";
      testData_.PutFile(folder + name, random);
    }
  }

  // Kills the program at a random system call, more often at one that changes a name.
  std::string Kill(const std::vector<std::string>& arguments, SoakRandom& random) const {
    const uint64_t items = testData_.size();
    if (random.OneIn(3)) {
      const uint64_t stop = 100 + random.Below(200 + items * 100);
      (void)RunAndKillAtStop(arguments, setup_, stop);
      return "at stop " + std::to_string(stop);
    }
    const uint64_t stop = 1 + random.Below(6 + items * (isAcross_ ? 12 : 4));
    (void)RunAndKillAtChange(arguments, setup_, stop);
    return "at stop " + std::to_string(stop) + " at a change";
  }

  // Without the first line there is no journal: the run was killed before it changed anything.
  bool HasHeader() const {
    return Exists(journal_) && ReadFile(journal_).find('\n') != std::string::npos;
  }

  std::string Trees() const {
    const TreeAspects aspects = {.folderTimes = false,
                                 .hardLinks = !isAcross_,
                                 .creationDates = false,
                                 .hashedContents = true};
    return TreeText(source_, aspects) +
           (Exists(destination_) ? TreeText(destination_, aspects) : "no destination\n");
  }

  void CheckTrees(const std::string& what) const {
    const std::string after = Trees();
    if (after == before_) return;
    soak_->AddViolation("not restored", Explain("after " + what) + "\nbefore:\n" + before_ +
                                            "after:\n" + after +
                                            (Exists(journal_) ? ReadFile(journal_) : ""));
  }

  std::string Explain(const std::string& what) const {
    std::string text = what + ": " + how_ + ":";
    for (const std::string& argument : arguments_) text += " " + argument;
    return text;
  }

  Soak* soak_;
  std::string source_;
  std::string destination_;
  std::string journal_;
  bool isAcross_;
  RunPlan plan_;
  TestData testData_;
  ChildSetup setup_;
  std::string before_;
  std::vector<std::string> arguments_;
  std::string how_ = "a complete run";
};

const std::vector<std::string> kUndoViolations = {"not restored", "hung"};

void RunAndUndo(const TwoFolders& folders, SoakRandom& random, Soak* soak) {
  UndoneRun run(folders, random, soak);
  run.Run(random);
  run.Undo(random);
  run.UndoAgain();
  soak->AddTries();
}

void RunUndos(const std::string& title, unsigned rounds, FolderPlacement placement) {
  Soak soak(title, "runs", kUndoViolations);
  RunOnTwoFolders(&soak, rounds, placement, [&](const TwoFolders& folders, SoakRandom& random) {
    TwoFolders placed = folders;
    if (placement == FolderPlacement::kOneFilesystem) placed.second = placed.first;
    RunAndUndo(placed, random, &soak);
  });
}

TEST(UndoneRun, IsRestored) { RunUndos("undo", 8, FolderPlacement::kOneFilesystem); }

TEST(UndoneRun, IsRestoredAcrossFilesystems) {
  RunUndos("undo, across filesystems", 8, FolderPlacement::kTwoFilesystemsOrDisk);
}

class UndoneRunOn : public testing::TestWithParam<VolumeKind> {};

TEST_P(UndoneRunOn, IsRestored) {
  Soak soak("undo, on " + NameOf(GetParam()), "runs", kUndoViolations);
  RunOnVolume(&soak, 1, GetParam(), [&](const TwoFolders& folders, SoakRandom& random) {
    RunAndUndo(folders, random, &soak);
  });
}

INSTANTIATE_TEST_SUITE_P(EachFilesystem, UndoneRunOn,
                         testing::Values(VolumeKind::kExt4, VolumeKind::kXfs, VolumeKind::kBtrfs),
                         [](const auto& kind) { return NameOf(kind.param); });

// ---- Killed before each call ----

// An item that a run has filed.
struct FiledCase {
  const char* name;
  bool isCopy = false;
  bool isAcross = false;
  bool isPackage = false;
  bool hasSidecar = false;
};

constexpr std::array kFiledCases = {
    FiledCase{.name = "moved across filesystems", .isAcross = true},
    FiledCase{.name = "package moved across filesystems", .isAcross = true, .isPackage = true},
    FiledCase{
        .name = "moved across filesystems with sidecar", .isAcross = true, .hasSidecar = true},
    FiledCase{.name = "moved with sidecar", .hasSidecar = true},
    FiledCase{.name = "copied", .isCopy = true},
    FiledCase{.name = "copied package", .isCopy = true, .isPackage = true},
    FiledCase{.name = "copied with sidecar", .isCopy = true, .hasSidecar = true},
};

ObjectState StateAt(const std::string& path) {
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, path.c_str(), &info)) << path;
  return ObjectStateOf(info);
}

class FiledItemTest {
 public:
  FiledItemTest(const FiledCase& filedCase, const std::string& top, const std::string& otherTop)
      : source_(top), target_(filedCase.isAcross ? otherTop : top) {
    const std::string original = source_ / "item.app";
    const std::string filed = target_ / "item.app";
    const std::vector<std::string> sidecar = {source_ / "._item.app", target_ / "._item.app"};
    WriteFile(filedCase.isPackage ? original + "/sub/file" : original, "contents");
    if (filedCase.hasSidecar) WriteFile(sidecar[0], "sidecar");
    before_ = Describe();
    item_ = {.original = original,
             .originalState = StateAt(original),
             .places = {},
             .isCopy = filedCase.isCopy,
             .hasSidecar = filedCase.hasSidecar};
    EXPECT_EQ(noErr, CopyAt(original, filed));
    if (filedCase.hasSidecar) {
      EXPECT_EQ(noErr, CopyAt(sidecar[0], sidecar[1]));
    }
    item_.places.push_back({filed, StateAt(filed), "40DFCCB2-2A2F-473B-BD6A-000000000001"});
    if (filedCase.isCopy) return;
    fs::remove_all(original);
    fs::remove(sidecar[0]);
  }

  // Returns the outcome.
  ReversalOutcome Reverse() const {
    return MakeChangeReversal(/*isDryRun=*/false)->ReverseItem(item_).outcome;
  }

  bool IsRestored() const { return Describe() == before_ && NamesIn(target_.path()).empty(); }

  std::string Describe() const {
    return TreeText(source_.path(), {.folderTimes = false, .creationDates = false});
  }

 private:
  TemporaryFolder source_;
  TemporaryFolder target_;
  std::string before_;
  FiledItem item_;
};

TEST(UndoneChange, KilledBeforeEachCall) {
  const MemoryVolume other("size=16m");
  if (!other.IsMounted()) GTEST_SKIP() << "this process may not mount";
  for (const FiledCase& filedCase : kFiledCases) {
    KillResult result = KillResult::kKilled;
    for (unsigned call = 1; result == KillResult::kKilled; ++call) {
      const FiledItemTest filed(filedCase, MemoryFolder(), other.path());
      result = RunAndKillBeforeCall(call, [&filed] { (void)filed.Reverse(); });
      if (result == KillResult::kNotPermitted) GTEST_SKIP() << "this process may not trace";
      const ReversalOutcome outcome = filed.Reverse();
      EXPECT_TRUE(outcome <= ReversalOutcome::kNothingToDo) << filedCase.name << ", call " << call;
      EXPECT_TRUE(filed.IsRestored()) << filedCase.name << ", killed before call " << call << ":\n"
                                      << filed.Describe();
    }
    EXPECT_EQ(KillResult::kFinished, result) << filedCase.name;
  }
}

}  // namespace
}  // namespace tessary::test
