#include "platform/linux/sidecars/sidecar_recovery.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/sidecars/sidecar_journal.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

constexpr char kJournalName[] = ".tessary-pair-0F6B0C58-6A4A-4C0E-9F0B-0123456789AB";

ObjectFingerprint MarkOf(const std::string& path) {
  const UniqueFd folder(open("/", O_PATH | O_CLOEXEC));
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(folder.get(), path.c_str(), &info)) << path;
  return ObjectFingerprint::Of(info);
}

// The folders "from" and "to", the item "a" with its sidecar in the first, and what a maker that
// died has written down of them.
class SidecarRecovery : public testing::Test {
 protected:
  SidecarRecovery() {
    MakeFolder(folder_ / "to");
    WriteFile(folder_ / "from/a", "item");
    WriteFile(folder_ / "from/._a", "sidecar");
    entry_.name = "a";
    entry_.newName = "b";
    entry_.otherPath = folder_ / "to";
    entry_.item = MarkOf(folder_ / "from/a");
    entry_.sidecar = MarkOf(folder_ / "from/._a");
  }

  void WriteEntry(JournalOperation change) {
    entry_.change = change;
    WriteFile(folder_ / (std::string("from/") + kJournalName), FormatJournalEntry(entry_));
  }

  void Rename(const std::string& from, const std::string& to) const {
    ASSERT_EQ(0, rename((folder_ / from).c_str(), (folder_ / to).c_str()));
  }

  void Recover() const { RecoverSidecars(OpenFolder(folder_ / "from").get()); }

  Names From() const { return NamesIn(folder_ / "from"); }
  Names To() const { return NamesIn(folder_ / "to"); }

  TemporaryFolder folder_;
  JournalEntry entry_;
};

TEST_F(SidecarRecovery, GivesASidecarBackToTheItemThatStayed) {
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names(), To());
}

TEST_F(SidecarRecovery, KnowsThePairAgainThatHasGotOtherNumbers) {
  // As on a volume that was mounted anew and makes up its inode numbers.
  entry_.item.identity.inode += 1000;
  entry_.sidecar.identity.inode += 1000;
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
}

TEST_F(SidecarRecovery, LeavesWhatIsNotThePair) {
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  WriteFile(folder_ / "to/new", "another sidecar");
  Rename("to/new", "to/._b");
  Recover();
  EXPECT_EQ(Names{"a"}, From());
  EXPECT_EQ("another sidecar", ReadFile(folder_ / "to/._b"));
}

TEST_F(SidecarRecovery, RemovesTheSecondNameOfASidecarThatWasNotMovedYet) {
  WriteEntry(JournalOperation::kMove);
  ASSERT_EQ(0, link((folder_ / "from/._a").c_str(), (folder_ / "to/._b").c_str()));
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names(), To());
}

TEST_F(SidecarRecovery, RemovesTheOldNameOfAnItemThatHasArrivedByALink) {
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  ASSERT_EQ(0, link((folder_ / "from/a").c_str(), (folder_ / "to/b").c_str()));
  Recover();
  EXPECT_EQ(Names(), From());
  EXPECT_EQ((Names{"._b", "b"}), To());
}

TEST_F(SidecarRecovery, DoesNothingForAMoveThatIsDoneOrWhoseFolderIsGone) {
  WriteEntry(JournalOperation::kMove);
  Rename("from/._a", "to/._b");
  Rename("from/a", "to/b");
  Recover();
  EXPECT_EQ(Names(), From());
  EXPECT_EQ((Names{"._b", "b"}), To());

  Rename("to/b", "from/a");
  entry_.otherPath += "/none";
  WriteEntry(JournalOperation::kMove);
  Recover();
  EXPECT_EQ(Names{"a"}, From());
}

TEST_F(SidecarRecovery, DeletesWhatWasMovedToAnotherVolumeOnlyWhereBothAreThere) {
  const std::string aside = StagedSidecarNameOf(kJournalName);
  for (const bool isCopied : {false, true}) {
    WriteEntry(JournalOperation::kMoveAcrossFilesystems);
    Rename("from/._a", "from/" + aside);
    Rename("from/a", isCopied ? "to/b" : "elsewhere");
    if (isCopied) {
      const std::string copy = folder_ / "to/._b";
      ASSERT_EQ(0, link((folder_ / ("from/" + aside)).c_str(), copy.c_str()));
    }
    Recover();
    EXPECT_EQ(isCopied ? Names() : Names{"._a"}, From());
    if (!isCopied) Rename("elsewhere", "from/a");
  }
  EXPECT_EQ((Names{"._b", "b"}), To());
}

TEST_F(SidecarRecovery, DeletesTheCopyOfASidecarThatIsAlone) {
  WriteEntry(JournalOperation::kCopy);
  Rename("from/._a", "from/._b");
  Recover();
  EXPECT_EQ(Names{"a"}, From());
  WriteFile(folder_ / "from/._b", "another");
  WriteEntry(JournalOperation::kCopy);
  Recover();
  EXPECT_EQ((Names{"._b", "a"}), From());
}

// Volumes that know no rename without replacing make a placeholder first.
TEST_F(SidecarRecovery, TakesNoPlaceholderForACopy) {
  for (const bool isFolder : {false, true}) {
    WriteEntry(JournalOperation::kCopy);
    Rename("from/._a", "from/._b");
    isFolder ? MakeFolder(folder_ / "from/b") : WriteFile(folder_ / "from/b", "");
    Recover();
    EXPECT_EQ((Names{"a", "b"}), From());
    fs::remove(folder_ / "from/b");
    WriteFile(folder_ / "from/._a", "sidecar");
    entry_.sidecar = MarkOf(folder_ / "from/._a");
  }
}

TEST_F(SidecarRecovery, OfCopiesLeavesASidecarWhoseItemHasChangedSince) {
  WriteEntry(JournalOperation::kCopy);
  Rename("from/._a", "from/._b");
  WriteFile(folder_ / "from/b", "written into");
  Recover();
  EXPECT_EQ((Names{"._b", "a", "b"}), From());
}

TEST_F(SidecarRecovery, RemovesTheHiddenNameOfASidecarThatHasItsOwn) {
  const std::string own = folder_ / "from/._a";
  const std::string aside = folder_ / ("from/" + StagedSidecarNameOf(kJournalName));
  WriteEntry(JournalOperation::kDelete);
  ASSERT_EQ(0, link(own.c_str(), aside.c_str()));
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  WriteEntry(JournalOperation::kDelete);
  WriteFile(aside, "");
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ("sidecar", ReadFile(own));
}

// What looks at the copies first may move them on, and nothing would show then that the rest of the
// original may go.
TEST_F(SidecarRecovery, OfCopiesMendsTheFolderThatTheyWereMadeOf) {
  const std::string aside = StagedSidecarNameOf(kJournalName);
  WriteEntry(JournalOperation::kMoveAcrossFilesystems);
  Rename("from/._a", "from/" + aside);
  ASSERT_EQ(0, link((folder_ / ("from/" + aside)).c_str(), (folder_ / "to/._b").c_str()));
  Rename("from/a", "to/b");
  entry_.change = JournalOperation::kCopy;
  entry_.otherPath = folder_ / "from";
  WriteFile(folder_ / (std::string("to/") + kJournalName), FormatJournalEntry(entry_));
  RecoverSidecars(OpenFolder(folder_ / "to").get());
  EXPECT_EQ(Names(), From());
  EXPECT_EQ((Names{"._b", "b"}), To());
}

TEST_F(SidecarRecovery, OfAMoveLeavesNoRecordOnEitherSideWhicheverIsLookedAt) {
  const JournalEntry move = entry_;
  for (const char* looked : {"from", "to"}) {
    entry_ = move;
    WriteEntry(JournalOperation::kMove);
    Rename("from/._a", "to/._b");
    ASSERT_EQ(0, link((folder_ / "from/a").c_str(), (folder_ / "to/b").c_str()));
    entry_.change = JournalOperation::kMoveTarget;
    entry_.otherPath = folder_ / "from";
    WriteFile(folder_ / (std::string("to/") + kJournalName), FormatJournalEntry(entry_));
    RecoverSidecars(OpenFolder(folder_ / looked).get());
    EXPECT_EQ(Names(), From()) << looked;
    EXPECT_EQ((Names{"._b", "b"}), To()) << looked;
    Rename("to/._b", "from/._a");
    Rename("to/b", "from/a");
  }
}

TEST_F(SidecarRecovery, KeepsTheRecordOfCopiesWhoseOriginalsCannotBeLookedAt) {
  if (geteuid() == 0) GTEST_SKIP() << "root looks everywhere";
  entry_.otherPath = folder_ / "closed/below";
  MakeFolder(entry_.otherPath);
  WriteEntry(JournalOperation::kCopy);
  Rename("from/a", "from/b");
  ASSERT_EQ(0, chmod((folder_ / "closed").c_str(), 0));
  Recover();
  ASSERT_EQ(0, chmod((folder_ / "closed").c_str(), 0700));
  EXPECT_EQ((Names{"._a", kJournalName, "b"}), From());
  Recover();
  EXPECT_EQ((Names{"._a", "b"}), From());
}

TEST_F(SidecarRecovery, FinishesADeletionOfTheItemThatWasMeant) {
  WriteEntry(JournalOperation::kDelete);
  Rename("from/._a", "from/" + StagedSidecarNameOf(kJournalName));
  Rename("from/a", "from/" + StagedItemNameOf(kJournalName));
  Recover();
  EXPECT_EQ(Names(), From());
}

TEST_F(SidecarRecovery, GivesBackAnItemThatHasChangedSinceItWasMeant) {
  WriteEntry(JournalOperation::kDelete);
  Rename("from/._a", "from/" + StagedSidecarNameOf(kJournalName));
  WriteFile(folder_ / "from/a", "written meanwhile");
  Rename("from/a", "from/" + StagedItemNameOf(kJournalName));
  Recover();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ("written meanwhile", ReadFile(folder_ / "from/a"));
}

TEST_F(SidecarRecovery, GivesAVisibleNameToWhatLostItsOwn) {
  WriteEntry(JournalOperation::kDelete);
  const std::string aside = StagedSidecarNameOf(kJournalName);
  Rename("from/._a", "from/" + aside);
  WriteFile(folder_ / "from/._a", "another");
  Recover();
  EXPECT_EQ((Names{"._a", "a", aside.substr(1)}), From());
  EXPECT_EQ("another", ReadFile(folder_ / "from/._a"));
}

TEST_F(SidecarRecovery, LeavesARecordThatIsInUse) {
  SidecarJournal record;
  const UniqueFd from = OpenFolder(folder_ / "from");
  entry_.change = JournalOperation::kMove;
  ASSERT_EQ(noErr, SidecarJournal::Write(from.get(), entry_, &record));
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ(Names{"._b"}, To());
  EXPECT_EQ(2U, From().size());
  record = SidecarJournal();
  EXPECT_EQ(Names{"a"}, From());
}

TEST_F(SidecarRecovery, LeavesTheRecordOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  WriteEntry(JournalOperation::kMove);
  ASSERT_EQ(0, chown((folder_ / (std::string("from/") + kJournalName)).c_str(), 65534, 65534));
  Rename("from/._a", "to/._b");
  Recover();
  EXPECT_EQ((Names{kJournalName, "a"}), From());
  EXPECT_EQ(Names{"._b"}, To());
}

TEST_F(SidecarRecovery, RemovesARecordThatIsNotWhole) {
  Rename("from/._a", "to/._b");
  const std::string whole = FormatJournalEntry(entry_);
  ASSERT_TRUE(ParseJournalEntry(whole));
  for (size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(ParseJournalEntry(whole.substr(0, size))) << size;
  }
  WriteFile(folder_ / (std::string("from/") + kJournalName), whole.substr(0, whole.size() - 1));
  Recover();
  EXPECT_EQ(Names{"a"}, From());
  EXPECT_EQ(Names{"._b"}, To());
}

TEST_F(SidecarRecovery, LeavesWhatOnlyHasTheNameOfARecord) {
  MakeFolder(folder_ / (std::string("from/") + kJournalName));
  Recover();
  EXPECT_TRUE(Exists(folder_ / (std::string("from/") + kJournalName)));
}

TEST(ParseJournalEntry, ReadsWhatWasFormatted) {
  JournalEntry entry;
  entry.change = JournalOperation::kMoveAcrossFilesystems;
  entry.name = "new\nline\xff";
  entry.newName = "b";
  entry.otherPath = "/caf\xe9/with \"quotes\"";
  entry.item = {{~uint64_t{0}, 2, 3}, S_IFLNK, 4, -5, 999'999'999};
  const std::optional<JournalEntry> read = ParseJournalEntry(FormatJournalEntry(entry));
  ASSERT_TRUE(read);
  EXPECT_EQ(JournalOperation::kMoveAcrossFilesystems, read->change);
  EXPECT_EQ(entry.name, read->name);
  EXPECT_EQ(entry.newName, read->newName);
  EXPECT_EQ(entry.otherPath, read->otherPath);
  EXPECT_EQ(entry.item.identity.inode, read->item.identity.inode);
  EXPECT_EQ(entry.item.identity.birth, read->item.identity.birth);
  EXPECT_EQ(entry.item.identity.device, read->item.identity.device);
  EXPECT_EQ(entry.item.type, read->item.type);
  EXPECT_EQ(entry.item.size, read->item.size);
  EXPECT_EQ(entry.item.seconds, read->item.seconds);
  EXPECT_EQ(entry.item.nanoseconds, read->item.nanoseconds);
  EXPECT_FALSE(ParseJournalEntry(std::string("tessary pair 1\0X\0a\0b\0c\0", 23)));
}

}  // namespace
}  // namespace tessary::test
