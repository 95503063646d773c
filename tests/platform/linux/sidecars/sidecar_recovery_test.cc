#include "platform/linux/sidecars/sidecar_recovery.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/linux/sidecars/sidecar_journal.h"
#include "tests/support/captured_log.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/fault_injection/process_kills.h"
#include "tests/support/file_operations.h"
#include "tests/support/journal_entries.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

const std::string kEntryName = JournalEntryName();
const std::string kStagedItem = StagedItemNameOf(kEntryName);
const std::string kStagedSidecar = StagedSidecarNameOf(kEntryName);

// The folders "from" and "to", and in the first one the item "a" with its sidecar. An operation
// that would make it "b" in the second one has crashed.
class SidecarRecovery : public testing::Test {
 protected:
  SidecarRecovery() {
    MakeFolder(folder_ / "to");
    WriteFile(folder_ / "from/a", "item");
    WriteFile(folder_ / "from/._a", "sidecar");
    entry_ = MakeJournalEntry(JournalOperation::kMove, folder_ / "from", "a", "b", folder_ / "to");
  }

  void WriteEntry(JournalOperation operation) {
    entry_.operation = operation;
    WriteJournalEntry(folder_ / "from", entry_);
  }

  // The entry at the target, of a move whose other entry is in "from".
  void WriteEntryAtTarget(JournalOperation operation) const {
    JournalEntry entry = entry_;
    entry.operation = operation;
    entry.otherPath = folder_ / "from";
    WriteJournalEntry(folder_ / "to", entry);
  }

  void Rename(const std::string& from, const std::string& to) const {
    ASSERT_EQ(0, rename((folder_ / from).c_str(), (folder_ / to).c_str()));
  }

  void Link(const std::string& from, const std::string& to) const {
    ASSERT_EQ(0, link((folder_ / from).c_str(), (folder_ / to).c_str()));
  }

  void Recover() const { RecoverFolder(folder_ / "from"); }

  Names From() const { return NamesIn(folder_ / "from"); }
  Names To() const { return NamesIn(folder_ / "to"); }

  TemporaryFolder folder_;
  JournalEntry entry_;
};

TEST_F(SidecarRecovery, MoveRestoresSidecar) {
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names(), To());
}

// As on a filesystem that assigns new inode numbers when it is mounted.
TEST_F(SidecarRecovery, MoveRecognisesRenumberedObjects) {
  entry_.item.identity.inode += 1000;
  entry_.sidecar.identity.inode += 1000;
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
}

TEST_F(SidecarRecovery, MoveKeepsReplacedSidecar) {
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  WriteFile(folder_ / "to/new", "another sidecar");
  Rename("to/new", "to/._b");
  Recover();
  EXPECT_EQ(Names{"a"}, From());
  EXPECT_EQ("another sidecar", ReadFile(folder_ / "to/._b"));
}

TEST_F(SidecarRecovery, MoveRemovesSecondLinkOfSidecar) {
  WriteEntry(JournalOperation::kMove);
  Link("from/._a", "to/._b");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names(), To());
}

TEST_F(SidecarRecovery, MoveRemovesFirstLinkOfItem) {
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  Link("from/a", "to/b");
  Recover();
  EXPECT_EQ(Names(), From());
  EXPECT_EQ((Names{"._b", "b"}), To());
}

TEST_F(SidecarRecovery, MoveThatIsDoneOnlyLosesItsEntry) {
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  Rename("from/a", "to/b");
  Recover();
  EXPECT_EQ(Names(), From());
  EXPECT_EQ((Names{"._b", "b"}), To());
}

TEST_F(SidecarRecovery, MoveToMissingFolderOnlyLosesItsEntry) {
  entry_.otherPath += "/none";
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ(Names{"a"}, From());
}

TEST_F(SidecarRecovery, MoveIsRecoveredFromEitherFolder) {
  const JournalEntry move = entry_;
  for (const char* first : {"from", "to"}) {
    entry_ = move;
    WriteEntry(JournalOperation::kMove);
    WriteEntryAtTarget(JournalOperation::kMoveTarget);
    Rename("from/._a", "to/._b");
    Link("from/a", "to/b");
    RecoverFolder(folder_ / first);
    EXPECT_EQ(Names(), From()) << first;
    EXPECT_EQ((Names{"._b", "b"}), To()) << first;
    Rename("to/._b", "from/._a");
    Rename("to/b", "from/a");
  }
}

// As on a filesystem whose entry was not complete when the process crashed.
TEST_F(SidecarRecovery, MoveRemovesIncompleteEntryAtTarget) {
  WriteEntry(JournalOperation::kMove);
  WriteFile(folder_ / ("to/" + kEntryName), "tessary pair");
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names(), To());
}

TEST_F(SidecarRecovery, MoveKeepsUnrelatedEntryAtTarget) {
  WriteEntry(JournalOperation::kMove);
  JournalEntry other = entry_;
  other.operation = JournalOperation::kMoveTarget;
  other.name = "another";
  WriteJournalEntry(folder_ / "to", other);
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names{kEntryName}, To());
}

// Its owner, or another process that recovers it, holds the lock in the folder left.
TEST_F(SidecarRecovery, MoveInUseIsLeftAlone) {
  SidecarJournal journal;
  SidecarJournal second;
  const UniqueFd from = OpenFolder(folder_ / "from");
  const UniqueFd to = OpenFolder(folder_ / "to");
  ASSERT_EQ(noErr, SidecarJournal::Write(from.get(), entry_, &journal));
  JournalEntry atTarget = entry_;
  atTarget.operation = JournalOperation::kMoveTarget;
  atTarget.otherPath = folder_ / "from";
  ASSERT_EQ(noErr, SidecarJournal::WriteSecond(journal, to.get(), atTarget, &second));
  EXPECT_EQ(From()[1], To()[0]) << "both have one name";
  Rename("from/._a", "to/._b");
  Recover();
  RecoverFolder(folder_ / "to");
  EXPECT_EQ(2U, From().size());
  EXPECT_EQ(2U, To().size());
  second.Keep();
  second = SidecarJournal();
  const CapturedLog log;
  RecoverFolder(folder_ / "to");
  EXPECT_EQ(2U, To().size()) << "the first entry is still locked";
  EXPECT_EQ(Names(), log.Messages());
  journal.Keep();
  journal = SidecarJournal();
  RecoverFolder(folder_ / "to");
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names(), To());
}

TEST_F(SidecarRecovery, MoveAcrossDeletesOriginalOnlyIfBothAreCopied) {
  for (const bool isCopied : {false, true}) {
    WriteEntry(JournalOperation::kMoveAcrossFilesystems);
    Rename("from/._a", "from/" + kStagedSidecar);
    Rename("from/a", isCopied ? "to/b" : "elsewhere");
    if (isCopied) Link("from/" + kStagedSidecar, "to/._b");
    Recover();
    EXPECT_EQ(isCopied ? Names() : Names{"._a"}, From());
    if (!isCopied) Rename("elsewhere", "from/a");
  }
  EXPECT_EQ((Names{"._b", "b"}), To());
}

// Another program has put it under the item's name at the last moment.
TEST_F(SidecarRecovery, MoveAcrossRestoresOtherStagedObject) {
  WriteEntry(JournalOperation::kMoveAcrossFilesystems);
  Rename("from/._a", "from/" + kStagedSidecar);
  Link("from/" + kStagedSidecar, "to/._b");
  Rename("from/a", "to/b");
  WriteFile(folder_ / ("from/" + kStagedItem), "of another program");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ("of another program", ReadFile(folder_ / "from/a"));
  EXPECT_EQ((Names{"._b", "b"}), To());
}

// Its entry at the target leads to the other one: the copies could be moved on otherwise, and then
// nothing would show that the rest of the original may be deleted.
TEST_F(SidecarRecovery, MoveAcrossIsCompletedFromEitherFolder) {
  const JournalEntry move = entry_;
  for (const char* first : {"from", "to"}) {
    entry_ = move;
    WriteEntry(JournalOperation::kMoveAcrossFilesystems);
    WriteEntryAtTarget(JournalOperation::kCopy);
    Rename("from/._a", "from/" + kStagedSidecar);
    Link("from/" + kStagedSidecar, "to/._b");
    Rename("from/a", "to/b");
    RecoverFolder(folder_ / first);
    EXPECT_EQ(Names(), From()) << first;
    EXPECT_EQ((Names{"._b", "b"}), To()) << first;
    Rename("to/._b", "from/._a");
    Rename("to/b", "from/a");
  }
}

TEST_F(SidecarRecovery, MoveAcrossIsRolledBackFromEitherFolder) {
  const JournalEntry move = entry_;
  for (const char* first : {"from", "to"}) {
    entry_ = move;
    WriteEntry(JournalOperation::kMoveAcrossFilesystems);
    WriteEntryAtTarget(JournalOperation::kCopy);
    Link("from/._a", "to/._b");
    Rename("from/._a", "from/" + kStagedSidecar);
    RecoverFolder(folder_ / first);
    EXPECT_EQ((Names{"._a", "a"}), From()) << first;
    EXPECT_EQ(Names(), To()) << first;
  }
}

// A run may use the target folder next: whatever a killed recovery has done, recovery of that
// folder alone has to bring the item and its sidecar together.
TEST_F(SidecarRecovery, KilledRecoveryIsRepeated) {
  const auto leaveMoveAcross = [this] {
    WriteEntry(JournalOperation::kMoveAcrossFilesystems);
    WriteEntryAtTarget(JournalOperation::kCopy);
    Rename("from/._a", "from/" + kStagedSidecar);
    Link("from/" + kStagedSidecar, "to/._b");
    Rename("from/a", "to/b");
  };
  const auto leaveMove = [this] {
    WriteEntry(JournalOperation::kMove);
    WriteEntryAtTarget(JournalOperation::kMoveTarget);
    Rename("from/._a", "to/._b");
    Link("from/a", "to/b");
  };
  const JournalEntry move = entry_;
  for (const std::function<void()>& leave :
       {std::function<void()>(leaveMoveAcross), std::function<void()>(leaveMove)}) {
    for (const char* first : {"from", "to"}) {
      KillResult end = KillResult::kKilled;
      for (unsigned call = 1; end == KillResult::kKilled; ++call) {
        SCOPED_TRACE(std::string(first) + ", killed before change " + std::to_string(call));
        entry_ = move;
        leave();
        end = RunAndKillBeforeCall(call, [&] { RecoverFolder(folder_ / first); });
        if (end == KillResult::kNotPermitted) GTEST_SKIP() << "no process may trace another here";
        ASSERT_NE(KillResult::kFailed, end);
        RecoverFolder(folder_ / "to");
        EXPECT_EQ((Names{"._b", "b"}), To());
        Names left = From();
        std::erase(left, kEntryName);
        EXPECT_EQ(Names(), left);
        Recover();
        EXPECT_EQ(Names(), From());
        Rename("to/._b", "from/._a");
        Rename("to/b", "from/a");
      }
    }
  }
}

TEST_F(SidecarRecovery, CopyOfSidecarAloneIsDeleted) {
  WriteEntry(JournalOperation::kCopy);
  Rename("from/._a", "from/._b");
  Recover();
  EXPECT_EQ(Names{"a"}, From());
  WriteFile(folder_ / "from/._b", "another");
  WriteEntry(JournalOperation::kCopy);
  Recover();
  EXPECT_EQ((Names{"._b", "a"}), From());
}

// A filesystem without RENAME_NOREPLACE has a placeholder first.
TEST_F(SidecarRecovery, CopyTakesNoPlaceholderForItem) {
  for (const bool isFolder : {false, true}) {
    WriteEntry(JournalOperation::kCopy);
    Rename("from/._a", "from/._b");
    isFolder ? MakeFolder(folder_ / "from/b") : WriteFile(folder_ / "from/b", "");
    Recover();
    EXPECT_EQ((Names{"a", "b"}), From());
    fs::remove(folder_ / "from/b");
    WriteFile(folder_ / "from/._a", "sidecar");
    entry_.sidecar = FingerprintAt(folder_ / "from/._a");
  }
}

TEST_F(SidecarRecovery, CopyRemovesPlaceholderOfSidecar) {
  WriteEntry(JournalOperation::kCopy);
  WriteFile(folder_ / "from/._b", "");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
}

TEST_F(SidecarRecovery, CopyThatHasChangedKeepsSidecar) {
  WriteEntry(JournalOperation::kCopy);
  Rename("from/._a", "from/._b");
  WriteFile(folder_ / "from/b", "written into");
  Recover();
  EXPECT_EQ((Names{"._b", "a", "b"}), From());
}

// An item that cannot be read is not one that does not exist.
TEST_F(SidecarRecovery, CopyThatCannotBeReadIsLeft) {
  WriteEntry(JournalOperation::kCopy);
  Rename("from/._a", "from/._b");
  Rename("from/a", "from/b");
  RunWithPausedCalls({{SYS_statx, "b", 1, {}, EIO}}, [this] {
    const CapturedLog log;
    Recover();
    EXPECT_EQ((Names{"._b", kEntryName, "b"}), From());
    EXPECT_EQ(1U, log.Messages().size());
  });
}

TEST_F(SidecarRecovery, CopyWithUnreachableOriginalIsLeft) {
  WriteEntry(JournalOperation::kCopy);
  Rename("from/a", "from/b");
  RunWithPausedCalls({{SYS_openat2, folder_ / "to", 1, {}, EACCES}}, [this] {
    Recover();
    EXPECT_EQ((Names{"._a", kEntryName, "b"}), From());
    Recover();
    EXPECT_EQ((Names{"._a", "b"}), From());
  });
}

// A filesystem without RENAME_NOREPLACE stages an object by a second link, or over a placeholder.
TEST_F(SidecarRecovery, DeletionRemovesInterruptedStaging) {
  WriteEntry(JournalOperation::kDelete);
  Link("from/._a", "from/" + kStagedSidecar);
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  WriteEntry(JournalOperation::kDelete);
  WriteFile(folder_ / ("from/" + kStagedSidecar), "");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ("sidecar", ReadFile(folder_ / "from/._a"));
}

TEST_F(SidecarRecovery, DeletionOfUnchangedItemIsCompleted) {
  WriteEntry(JournalOperation::kDelete);
  Rename("from/._a", "from/" + kStagedSidecar);
  Rename("from/a", "from/" + kStagedItem);
  Recover();
  EXPECT_EQ(Names(), From());
}

TEST_F(SidecarRecovery, DeletionOfItemAloneIsCompleted) {
  WriteEntry(JournalOperation::kDelete);
  Rename("from/._a", "from/" + kStagedSidecar);
  fs::remove(folder_ / "from/a");
  Recover();
  EXPECT_EQ(Names(), From());
}

TEST_F(SidecarRecovery, DeletionOfChangedItemIsRolledBack) {
  WriteEntry(JournalOperation::kDelete);
  Rename("from/._a", "from/" + kStagedSidecar);
  WriteFile(folder_ / "from/a", "written meanwhile");
  Rename("from/a", "from/" + kStagedItem);
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ("written meanwhile", ReadFile(folder_ / "from/a"));
}

TEST_F(SidecarRecovery, DeletionShowsSidecarWhoseNameExists) {
  WriteEntry(JournalOperation::kDelete);
  Rename("from/._a", "from/" + kStagedSidecar);
  WriteFile(folder_ / "from/._a", "another");
  Recover();
  EXPECT_EQ((Names{"._a", "a", kStagedSidecar.substr(1)}), From());
  EXPECT_EQ("another", ReadFile(folder_ / "from/._a"));
}

// A crafted entry, or one of a move within a folder.
TEST_F(SidecarRecovery, EntryThatLeadsToItsOwnFolderIsFinished) {
  entry_.otherPath = folder_ / "from";
  for (const auto operation :
       {JournalOperation::kMove, JournalOperation::kMoveTarget, JournalOperation::kCopy,
        JournalOperation::kMoveAcrossFilesystems, JournalOperation::kDelete}) {
    WriteEntry(operation);
    Recover();
    EXPECT_EQ((Names{"._a", "a"}), From());
  }
}

TEST_F(SidecarRecovery, EntryOfAnotherUserIsLeft) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  WriteEntry(JournalOperation::kMove);
  ASSERT_EQ(0, chown((folder_ / ("from/" + kEntryName)).c_str(), 65534, 65534));
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ((Names{kEntryName, "a"}), From());
  EXPECT_EQ(Names{"._b"}, To());
}

// Its owner completes it while it is already open, and crashes.
TEST_F(SidecarRecovery, EntryIsReadAfterItIsLocked) {
  WriteFile(folder_ / ("from/" + kEntryName), "");
  Rename("from/._a", "to/._b");
  const auto complete = [this] { WriteEntry(JournalOperation::kMove); };
  RunWithPausedCalls({{SYS_flock, "", 1, complete}}, [this] {
    Recover();
    EXPECT_EQ((Names{"._a", "a"}), From());
    EXPECT_EQ(Names(), To());
  });
}

TEST_F(SidecarRecovery, IncompleteEntryIsRemoved) {
  Rename("from/._a", "to/._b");
  const std::string whole = FormatJournalEntry(entry_);
  WriteFile(folder_ / ("from/" + kEntryName), whole.substr(0, whole.size() - 1));
  Recover();
  EXPECT_EQ(Names{"a"}, From());
  EXPECT_EQ(Names{"._b"}, To());
}

TEST_F(SidecarRecovery, FolderWithEntryNameIsLeft) {
  MakeFolder(folder_ / ("from/" + kEntryName));
  const std::string otherForm = ".tessary-pair-0f6b0c58-6a4a-4c0e-9f0b-0123456789ab";
  WriteFile(folder_ / ("from/" + otherForm), "mine");
  Recover();
  EXPECT_TRUE(Exists(folder_ / ("from/" + kEntryName)));
  EXPECT_TRUE(Exists(folder_ / ("from/" + otherForm)));
}

}  // namespace
}  // namespace tessary::test
