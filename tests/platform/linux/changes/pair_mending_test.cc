#include "platform/linux/changes/pair_mending.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/pair_record.h"
#include "tests/support/copying.h"
#include "tests/support/temporary_folder.h"

namespace tessary {
namespace {

namespace fs = std::filesystem;

using testing::Exists;
using testing::MakeFolder;
using testing::NamesIn;
using testing::OpenFolder;
using testing::ReadFile;
using testing::TemporaryFolder;
using testing::WriteFile;

using Names = std::vector<std::string>;

constexpr char kRecord[] = ".tessary-pair-0F6B0C58-6A4A-4C0E-9F0B-0123456789AB";

ObjectMark MarkOf(const std::string& path) {
  const UniqueFd folder(open("/", O_PATH | O_CLOEXEC));
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(folder.get(), path.c_str(), &info)) << path;
  return ObjectMark::Of(info);
}

// The folders "from" and "to", the item "a" with its sidecar in the first, and what a maker that
// died has written down of them.
class PairMending : public ::testing::Test {
 protected:
  PairMending() {
    MakeFolder(folder_ / "to");
    WriteFile(folder_ / "from/a", "item");
    WriteFile(folder_ / "from/._a", "sidecar");
    intent_.name = "a";
    intent_.newName = "b";
    intent_.otherPath = folder_ / "to";
    intent_.item = MarkOf(folder_ / "from/a");
    intent_.sidecar = MarkOf(folder_ / "from/._a");
  }

  void Leave(PairChange change) {
    intent_.change = change;
    WriteFile(folder_ / (std::string("from/") + kRecord), FormatPairIntent(intent_));
  }

  void Rename(const std::string& from, const std::string& to) const {
    ASSERT_EQ(0, rename((folder_ / from).c_str(), (folder_ / to).c_str()));
  }

  void Mend() const { MendPairs(OpenFolder(folder_ / "from").get()); }

  Names From() const { return NamesIn(folder_ / "from"); }
  Names To() const { return NamesIn(folder_ / "to"); }

  TemporaryFolder folder_;
  PairIntent intent_;
};

TEST_F(PairMending, GivesASidecarBackToTheItemThatStayed) {
  Leave(PairChange::kMove);
  Rename("from/._a", "to/._b");
  Mend();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names(), To());
}

TEST_F(PairMending, KnowsThePairAgainThatHasGotOtherNumbers) {
  // As on a volume that was mounted anew and makes up its inode numbers.
  intent_.item.identity.inode += 1000;
  intent_.sidecar.identity.inode += 1000;
  Leave(PairChange::kMove);
  Rename("from/._a", "to/._b");
  Mend();
  EXPECT_EQ((Names{"._a", "a"}), From());
}

TEST_F(PairMending, LeavesWhatIsNotThePair) {
  Leave(PairChange::kMove);
  Rename("from/._a", "to/._b");
  WriteFile(folder_ / "to/new", "another sidecar");
  Rename("to/new", "to/._b");
  Mend();
  EXPECT_EQ(Names{"a"}, From());
  EXPECT_EQ("another sidecar", ReadFile(folder_ / "to/._b"));
}

TEST_F(PairMending, RemovesTheSecondNameOfASidecarThatWasNotMovedYet) {
  Leave(PairChange::kMove);
  ASSERT_EQ(0, link((folder_ / "from/._a").c_str(), (folder_ / "to/._b").c_str()));
  Mend();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ(Names(), To());
}

TEST_F(PairMending, RemovesTheOldNameOfAnItemThatHasArrivedByALink) {
  Leave(PairChange::kMove);
  Rename("from/._a", "to/._b");
  ASSERT_EQ(0, link((folder_ / "from/a").c_str(), (folder_ / "to/b").c_str()));
  Mend();
  EXPECT_EQ(Names(), From());
  EXPECT_EQ((Names{"._b", "b"}), To());
}

TEST_F(PairMending, DoesNothingForAMoveThatIsDoneOrWhoseFolderIsGone) {
  Leave(PairChange::kMove);
  Rename("from/._a", "to/._b");
  Rename("from/a", "to/b");
  Mend();
  EXPECT_EQ(Names(), From());
  EXPECT_EQ((Names{"._b", "b"}), To());

  Rename("to/b", "from/a");
  intent_.otherPath += "/none";
  Leave(PairChange::kMove);
  Mend();
  EXPECT_EQ(Names{"a"}, From());
}

TEST_F(PairMending, DeletesWhatWasMovedToAnotherVolumeOnlyWhereBothAreThere) {
  const std::string aside = SidecarAsideName(kRecord);
  for (const bool isCopied : {false, true}) {
    Leave(PairChange::kMoveAcross);
    Rename("from/._a", "from/" + aside);
    Rename("from/a", isCopied ? "to/b" : "elsewhere");
    if (isCopied) {
      const std::string copy = folder_ / "to/._b";
      ASSERT_EQ(0, link((folder_ / ("from/" + aside)).c_str(), copy.c_str()));
    }
    Mend();
    EXPECT_EQ(isCopied ? Names() : Names{"._a"}, From());
    if (!isCopied) Rename("elsewhere", "from/a");
  }
  EXPECT_EQ((Names{"._b", "b"}), To());
}

TEST_F(PairMending, DeletesTheCopyOfASidecarThatIsAlone) {
  Leave(PairChange::kCopy);
  Rename("from/._a", "from/._b");
  Mend();
  EXPECT_EQ(Names{"a"}, From());
  WriteFile(folder_ / "from/._b", "another");
  Leave(PairChange::kCopy);
  Mend();
  EXPECT_EQ((Names{"._b", "a"}), From());
}

// Volumes that know no rename without replacing make a placeholder first.
TEST_F(PairMending, TakesNoPlaceholderForACopy) {
  for (const bool isFolder : {false, true}) {
    Leave(PairChange::kCopy);
    Rename("from/._a", "from/._b");
    isFolder ? MakeFolder(folder_ / "from/b") : WriteFile(folder_ / "from/b", "");
    Mend();
    EXPECT_EQ((Names{"a", "b"}), From());
    fs::remove(folder_ / "from/b");
    WriteFile(folder_ / "from/._a", "sidecar");
    intent_.sidecar = MarkOf(folder_ / "from/._a");
  }
}

TEST_F(PairMending, OfCopiesLeavesASidecarWhoseItemHasChangedSince) {
  Leave(PairChange::kCopy);
  Rename("from/._a", "from/._b");
  WriteFile(folder_ / "from/b", "written into");
  Mend();
  EXPECT_EQ((Names{"._b", "a", "b"}), From());
}

TEST_F(PairMending, RemovesTheHiddenNameOfASidecarThatHasItsOwn) {
  const std::string own = folder_ / "from/._a";
  const std::string aside = folder_ / ("from/" + SidecarAsideName(kRecord));
  Leave(PairChange::kDelete);
  ASSERT_EQ(0, link(own.c_str(), aside.c_str()));
  Mend();
  EXPECT_EQ((Names{"._a", "a"}), From());
  Leave(PairChange::kDelete);
  WriteFile(aside, "");
  Mend();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ("sidecar", ReadFile(own));
}

// What looks at the copies first may move them on, and nothing would show then that the rest of the
// original may go.
TEST_F(PairMending, OfCopiesMendsTheFolderThatTheyWereMadeOf) {
  const std::string aside = SidecarAsideName(kRecord);
  Leave(PairChange::kMoveAcross);
  Rename("from/._a", "from/" + aside);
  ASSERT_EQ(0, link((folder_ / ("from/" + aside)).c_str(), (folder_ / "to/._b").c_str()));
  Rename("from/a", "to/b");
  intent_.change = PairChange::kCopy;
  intent_.otherPath = folder_ / "from";
  WriteFile(folder_ / (std::string("to/") + kRecord), FormatPairIntent(intent_));
  MendPairs(OpenFolder(folder_ / "to").get());
  EXPECT_EQ(Names(), From());
  EXPECT_EQ((Names{"._b", "b"}), To());
}

TEST_F(PairMending, OfAMoveLeavesNoRecordOnEitherSideWhicheverIsLookedAt) {
  const PairIntent move = intent_;
  for (const char* looked : {"from", "to"}) {
    intent_ = move;
    Leave(PairChange::kMove);
    Rename("from/._a", "to/._b");
    ASSERT_EQ(0, link((folder_ / "from/a").c_str(), (folder_ / "to/b").c_str()));
    intent_.change = PairChange::kArrival;
    intent_.otherPath = folder_ / "from";
    WriteFile(folder_ / (std::string("to/") + kRecord), FormatPairIntent(intent_));
    MendPairs(OpenFolder(folder_ / looked).get());
    EXPECT_EQ(Names(), From()) << looked;
    EXPECT_EQ((Names{"._b", "b"}), To()) << looked;
    Rename("to/._b", "from/._a");
    Rename("to/b", "from/a");
  }
}

TEST_F(PairMending, KeepsTheRecordOfCopiesWhoseOriginalsCannotBeLookedAt) {
  if (geteuid() == 0) GTEST_SKIP() << "root looks everywhere";
  intent_.otherPath = folder_ / "closed/below";
  MakeFolder(intent_.otherPath);
  Leave(PairChange::kCopy);
  Rename("from/a", "from/b");
  ASSERT_EQ(0, chmod((folder_ / "closed").c_str(), 0));
  Mend();
  ASSERT_EQ(0, chmod((folder_ / "closed").c_str(), 0700));
  EXPECT_EQ((Names{"._a", kRecord, "b"}), From());
  Mend();
  EXPECT_EQ((Names{"._a", "b"}), From());
}

TEST_F(PairMending, FinishesADeletionOfTheItemThatWasMeant) {
  Leave(PairChange::kDelete);
  Rename("from/._a", "from/" + SidecarAsideName(kRecord));
  Rename("from/a", "from/" + ItemAsideName(kRecord));
  Mend();
  EXPECT_EQ(Names(), From());
}

TEST_F(PairMending, GivesBackAnItemThatHasChangedSinceItWasMeant) {
  Leave(PairChange::kDelete);
  Rename("from/._a", "from/" + SidecarAsideName(kRecord));
  WriteFile(folder_ / "from/a", "written meanwhile");
  Rename("from/a", "from/" + ItemAsideName(kRecord));
  Mend();
  EXPECT_EQ((Names{"._a", "a"}), From());
  EXPECT_EQ("written meanwhile", ReadFile(folder_ / "from/a"));
}

TEST_F(PairMending, GivesAVisibleNameToWhatLostItsOwn) {
  Leave(PairChange::kDelete);
  const std::string aside = SidecarAsideName(kRecord);
  Rename("from/._a", "from/" + aside);
  WriteFile(folder_ / "from/._a", "another");
  Mend();
  EXPECT_EQ((Names{"._a", "a", aside.substr(1)}), From());
  EXPECT_EQ("another", ReadFile(folder_ / "from/._a"));
}

TEST_F(PairMending, LeavesARecordThatIsInUse) {
  PairRecord record;
  const UniqueFd from = OpenFolder(folder_ / "from");
  intent_.change = PairChange::kMove;
  ASSERT_EQ(noErr, PairRecord::Write(from.get(), intent_, &record));
  Rename("from/._a", "to/._b");
  Mend();
  EXPECT_EQ(Names{"._b"}, To());
  EXPECT_EQ(2U, From().size());
  record = PairRecord();
  EXPECT_EQ(Names{"a"}, From());
}

TEST_F(PairMending, LeavesTheRecordOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  Leave(PairChange::kMove);
  ASSERT_EQ(0, chown((folder_ / (std::string("from/") + kRecord)).c_str(), 65534, 65534));
  Rename("from/._a", "to/._b");
  Mend();
  EXPECT_EQ((Names{kRecord, "a"}), From());
  EXPECT_EQ(Names{"._b"}, To());
}

TEST_F(PairMending, RemovesARecordThatIsNotWhole) {
  Rename("from/._a", "to/._b");
  const std::string whole = FormatPairIntent(intent_);
  ASSERT_TRUE(ParsePairIntent(whole));
  for (size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(ParsePairIntent(whole.substr(0, size))) << size;
  }
  WriteFile(folder_ / (std::string("from/") + kRecord), whole.substr(0, whole.size() - 1));
  Mend();
  EXPECT_EQ(Names{"a"}, From());
  EXPECT_EQ(Names{"._b"}, To());
}

TEST_F(PairMending, LeavesWhatOnlyHasTheNameOfARecord) {
  MakeFolder(folder_ / (std::string("from/") + kRecord));
  Mend();
  EXPECT_TRUE(Exists(folder_ / (std::string("from/") + kRecord)));
}

TEST(ParsePairIntent, ReadsWhatWasFormatted) {
  PairIntent intent;
  intent.change = PairChange::kMoveAcross;
  intent.name = "new\nline\xff";
  intent.newName = "b";
  intent.otherPath = "/caf\xe9/with \"quotes\"";
  intent.item = {{~uint64_t{0}, 2, 3}, S_IFLNK, 4, -5, 999'999'999};
  const std::optional<PairIntent> read = ParsePairIntent(FormatPairIntent(intent));
  ASSERT_TRUE(read);
  EXPECT_EQ(PairChange::kMoveAcross, read->change);
  EXPECT_EQ(intent.name, read->name);
  EXPECT_EQ(intent.newName, read->newName);
  EXPECT_EQ(intent.otherPath, read->otherPath);
  EXPECT_EQ(intent.item.identity.inode, read->item.identity.inode);
  EXPECT_EQ(intent.item.identity.birth, read->item.identity.birth);
  EXPECT_EQ(intent.item.identity.device, read->item.identity.device);
  EXPECT_EQ(intent.item.type, read->item.type);
  EXPECT_EQ(intent.item.size, read->item.size);
  EXPECT_EQ(intent.item.seconds, read->item.seconds);
  EXPECT_EQ(intent.item.nanoseconds, read->item.nanoseconds);
  EXPECT_FALSE(ParsePairIntent(std::string("tessary pair 1\0X\0a\0b\0c\0", 23)));
}

}  // namespace
}  // namespace tessary
