#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/hidden_name.h"
#include "platform/linux/changes/pair.h"
#include "platform/linux/changes/publish_fallbacks.h"
#include "platform/linux/leftover_name.h"
#include "platform/managers/file_manager.h"
#include "tests/support/captured_log.h"
#include "tests/support/copying.h"
#include "tests/support/held_calls.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

// What other programs do between two calls of ours, and calls of which one in many fails.
namespace tessary {
namespace {

using testing::CapturedLog;
using testing::CopyAt;
using testing::Exists;
using testing::FilesBelow;
using testing::IdentityAt;
using testing::InfoAt;
using testing::MakeFolder;
using testing::MakeLink;
using testing::MoveAcrossAt;
using testing::NamesIn;
using testing::OpenFolder;
using testing::PlaceAt;
using testing::ReadFile;
using testing::RefAt;
using testing::RunAsOrdinaryUser;
using testing::RunWithHeldCalls;
using testing::TemporaryFolder;
using testing::WriteFile;

using Names = std::vector<std::string>;

class InBetween : public ::testing::Test {
 protected:
  void SetUp() override {
    MakeFolder(folder_ / "from");
    MakeFolder(folder_ / "to");
  }

  std::string From(const std::string& name) const { return folder_ / ("from/" + name); }
  std::string To(const std::string& name) const { return folder_ / ("to/" + name); }
  Names FromNames() const { return NamesIn(folder_ / "from"); }
  Names ToNames() const { return NamesIn(folder_ / "to"); }

  // A folder that another program exchanges for one of its own.
  void Exchange(const std::string& path) const {
    EXPECT_EQ(0, rename(path.c_str(), (folder_ / "theirs").c_str()));
    MakeFolder(path);
  }

  TemporaryFolder folder_;
};

// ---- Hidden names ----

class TakingAside : public InBetween {
 protected:
  void Run() const {
    const UniqueFd from = OpenFolder(folder_ / "from");
    HiddenItem aside;
    EXPECT_EQ(fnfErr,
              HiddenItem::TakeAside(from.get(), "folder", OpenFolder(From("folder")), &aside));
  }
};

TEST_F(TakingAside, GivesAnotherFolderItsNameBack) {
  WriteFile(From("folder/ours"));
  const auto exchange = [this] { Exchange(From("folder")); };
  RunWithHeldCalls({{SYS_renameat2, "folder", 1, exchange}}, [this] {
    Run();
    EXPECT_EQ(Names{"folder"}, FromNames());
    EXPECT_EQ(Names(), NamesIn(From("folder")));
    EXPECT_EQ(Names{"ours"}, NamesIn(folder_ / "theirs"));
  });
}

TEST_F(TakingAside, LeavesAnotherFolderAVisibleNameWhereItsOwnIsTakenAgain) {
  WriteFile(From("folder/ours"));
  const auto exchange = [this] { Exchange(From("folder")); };
  const auto take = [this] { WriteFile(From("folder"), "taken"); };
  RunWithHeldCalls({{SYS_renameat2, "", 1, exchange}, {SYS_renameat2, "", 2, take}}, [this] {
    Run();
    EXPECT_EQ("taken", ReadFile(From("folder")));
    ASSERT_EQ(2U, FromNames().size());
    EXPECT_TRUE(FromNames().back().starts_with("tessary-")) << FromNames().back();
  });
}

TEST_F(InBetween, AHiddenFolderThatCannotBeOpenedIsNotLeft) {
  RunWithHeldCalls({{SYS_openat, "", 1, {}, EMFILE}}, [to = folder_ / "to", this] {
    const UniqueFd folder(static_cast<int>(syscall(SYS_open, to.c_str(), O_PATH | O_CLOEXEC)));
    HiddenItem item;
    EXPECT_EQ(tmfoErr, HiddenItem::MakeHiddenFolder(folder.get(), &item));
    EXPECT_EQ(Names(), ToNames());
  });
}

// ---- Names without the flag that replaces nothing ----

TEST_F(InBetween, APlaceholderThatIsGoneIsNotRenamedOnto) {
  WriteFile(From("a"), "only copy");
  const auto removePlaceholder = [this] { EXPECT_EQ(0, unlink(To("b").c_str())); };
  RunWithHeldCalls({{SYS_statx, "b", 2, removePlaceholder}}, [this] {
    const UniqueFd from = OpenFolder(folder_ / "from");
    const UniqueFd to = OpenFolder(folder_ / "to");
    EXPECT_EQ(dupFNErr, RenameOntoPlaceholder(from.get(), "a", to.get(), "b"));
    EXPECT_EQ("only copy", ReadFile(From("a")));
    EXPECT_EQ(Names(), ToNames());
  });
}

// ---- Moving ----

// As programs save.
TEST_F(InBetween, AnItemThatIsReplacedRightBeforeItsRenameIsTheOneThatHasMoved) {
  WriteFile(From("file"), "old");
  WriteFile(folder_ / "saved", "new");
  const auto replace = [this] {
    EXPECT_EQ(0, rename((folder_ / "saved").c_str(), From("file").c_str()));
  };
  RunWithHeldCalls({{SYS_renameat2, "file", 1, replace}}, [this] {
    FSRef moved;
    EXPECT_EQ(noErr, FSMoveObjectSync(RefAt(From("file")), RefAt(folder_ / "to"), nullptr, &moved));
    EXPECT_TRUE(FSIsFSRefValid(moved)) << "what is under the name, not what it has replaced";
    EXPECT_EQ(noErr, FSCompareFSRefs(moved, RefAt(To("file"))));
    EXPECT_EQ("new", ReadFile(To("file")));
    EXPECT_EQ(Names(), FromNames());
  });
}

// ---- Deleting ----

TEST_F(InBetween, AnItemGoesWithItsSidecarOutOfAFolderThatCannotBeListed) {
  WriteFile(From("file"), "item");
  WriteFile(From("._file"), "sidecar");
  RunWithHeldCalls({{SYS_getdents64, "", 1, {}, EACCES}}, [this] {
    EXPECT_EQ(noErr, FSDeleteObject(RefAt(From("file"))));
    EXPECT_EQ(Names(), FromNames());
  });
}

// ---- Copying ----

TEST_F(InBetween, AFileThatCanHaveNoMoreLinksIsCopiedAnew) {
  WriteFile(From("package/a"), "contents");
  ASSERT_EQ(0, link(From("package/a").c_str(), From("package/b").c_str()));
  RunWithHeldCalls({{SYS_linkat, "", 2, {}, EMLINK}}, [this] {
    EXPECT_EQ(noErr, CopyAt(From("package"), To("package")));
    EXPECT_EQ("contents", ReadFile(To("package/a")));
    EXPECT_EQ("contents", ReadFile(To("package/b")));
    EXPECT_NE(InfoAt(To("package/a")).st_ino, InfoAt(To("package/b")).st_ino);
    EXPECT_EQ(Names{"package"}, ToNames());
  });
}

TEST_F(InBetween, ALinkIsCopiedWholeOrNotAtAll) {
  MakeLink("nowhere", From("link"));
  const auto remove = [this] { EXPECT_EQ(0, unlink(From("link").c_str())); };
  const std::vector<testing::HeldCall> rows = {
      {SYS_openat, "link", 1, remove, 0},  {SYS_readlinkat, "", 1, {}, EIO},
      {SYS_symlinkat, "", 1, {}, EDQUOT},  {SYS_symlinkat, "", 2, {}, EDQUOT},
      {SYS_openat, "link", 2, {}, EMFILE}, {SYS_fchownat, "link", 1, {}, EIO},
      {SYS_utimensat, "link", 1, {}, EIO}, {SYS_renameat2, "link", 1, {}, EIO},
  };
  for (const testing::HeldCall& row : rows) {
    if (!Exists(From("link"))) MakeLink("nowhere", From("link"));
    RunWithHeldCalls({row}, [this] {
      EXPECT_NE(noErr, CopyAt(From("link"), To("link")));
      EXPECT_EQ(Names(), ToNames());
    });
    if (IsSkipped()) return;
    EXPECT_FALSE(HasFailure()) << row.number << " " << row.name << " " << row.turn;
  }
}

TEST_F(InBetween, ALinkThatCannotBeLookedAtIsCopiedOrNotThere) {
  MakeLink("nowhere", From("link"));
  // The first two looks are the test's own, the last one is at the link under its new name.
  for (int turn = 3; turn <= 10; ++turn) {
    RunWithHeldCalls({{SYS_statx, "", turn, {}, EIO}}, [this] {
      const bool isCopied = CopyAt(From("link"), To("link")) == noErr;
      Names names = ToNames();
      std::erase_if(names, IsHiddenName);
      EXPECT_EQ(isCopied ? Names{"link"} : Names(), names);
      EXPECT_EQ(isCopied ? 0 : -1, unlink(To("link").c_str()));
    });
    if (IsSkipped()) return;
    EXPECT_FALSE(HasFailure()) << turn;
  }
}

// ---- Moving to another volume ----

TEST_F(InBetween, AnOriginalThatStaysAndLosesItsNameIsToldOf) {
  WriteFile(From("package/file"), "contents");
  const auto takeName = [this] { WriteFile(From("package"), "taken"); };
  RunWithHeldCalls({{SYS_unlinkat, "file", 1, takeName, EPERM}}, [this] {
    CapturedLog log;
    EXPECT_EQ(dupFNErr, MoveAcrossAt(From("package"), To("package")));
    EXPECT_EQ("taken", ReadFile(From("package")));
    EXPECT_EQ("contents", ReadFile(To("package/file"))) << "the copy stays";
    ASSERT_EQ(2U, FromNames().size());
    const std::string hidden = FromNames().front();
    EXPECT_EQ("contents", ReadFile(From(hidden + "/file")));
    EXPECT_EQ(Names{"\"package\" could not be deleted and is now \"" + hidden + "\""},
              log.Messages());
  });
}

TEST_F(InBetween, AVolumeThatWritesNothingOutIsNoReasonToFail) {
  WriteFile(From("file"), "contents");
  RunWithHeldCalls({{SYS_sync_file_range, "", 1, {}, ESPIPE}}, [this] {
    EXPECT_EQ(noErr, MoveAcrossAt(From("file"), To("file")));
    EXPECT_EQ("contents", ReadFile(To("file")));
    EXPECT_EQ(Names(), FromNames());
  });
}

TEST_F(InBetween, AVolumeThatFailsToWriteOutGetsNothing) {
  WriteFile(From("file"), "contents");
  RunWithHeldCalls({{SYS_sync_file_range, "", 1, {}, EIO}}, [this] {
    EXPECT_EQ(ioErr, MoveAcrossAt(From("file"), To("file")));
    EXPECT_EQ("contents", ReadFile(From("file")));
    EXPECT_EQ(Names(), ToNames());
  });
}

TEST_F(InBetween, AFolderThatMayNotBeReadIsMadeDurableWithItsVolume) {
  MakeLink("nowhere", From("link"));
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0755));
  ASSERT_EQ(0, chmod((folder_ / "from").c_str(), 0777));
  ASSERT_EQ(0, chmod((folder_ / "to").c_str(), 0333));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    EXPECT_EQ(noErr, MoveAcrossAt(From("link"), To("link")));
    EXPECT_TRUE(Exists(To("link")));
    EXPECT_EQ(Names(), FromNames());
  }));
}

// ---- Pairs ----

class PairInBetween : public InBetween {
 protected:
  void SetUp() override {
    InBetween::SetUp();
    WriteFile(From("a"), "item");
    WriteFile(From("._a"), "sidecar");
  }

  // Has the catalog see what is in the folder, which mends what was left half done.
  static void List(const std::string& path) {
    FSIterator iterator;
    ASSERT_EQ(noErr, FSOpenIterator(testing::RefAt(path), &iterator));
    std::array<FSRef, 10> refs;
    size_t actual = 0;
    bool changed = false;
    EXPECT_EQ(errFSNoMoreItems,
              FSGetCatalogInfoBulk(*iterator, refs.size(), &actual, &changed, refs.data()));
  }

  Status Change(Status (*change)(const Pair&, const PairTarget&)) const {
    Place place = PlaceAt(From("a"));
    place.mayHaveSidecar = true;
    std::optional<Pair> pair;
    EXPECT_EQ(noErr, FindPair(place, &pair));
    EXPECT_TRUE(pair);
    const UniqueFd to = OpenFolder(folder_ / "to");
    PairTarget target;
    target.folder = to.get();
    target.name = "a";
    target.identity = IdentityAt(to.get(), "");
    target.path = folder_ / "to";
    return change(*pair, target);
  }
};

TEST_F(PairInBetween, ASidecarThatCannotBeGivenBackIsToldOfAndMendedLater) {
  const auto takeBoth = [this] {
    WriteFile(To("a"), "taken");
    WriteFile(From("._a"), "taken too");
  };
  RunWithHeldCalls({{SYS_renameat2, "a", 1, takeBoth}}, [this] {
    CapturedLog log;
    EXPECT_EQ(dupFNErr, Change(MovePair));
    EXPECT_EQ("item", ReadFile(From("a")));
    EXPECT_EQ("sidecar", ReadFile(To("._a")));
    EXPECT_EQ(Names{"\"._a\" could not be given back and is now \"" + To("._a") + "\""},
              log.Messages());
    EXPECT_EQ(3U, FromNames().size()) << "the record stays";
    EXPECT_EQ(0, unlink(From("._a").c_str()));
    List(folder_ / "from");
    EXPECT_EQ((Names{"._a", "a"}), FromNames());
    EXPECT_EQ("sidecar", ReadFile(From("._a")));
    EXPECT_EQ(Names{"a"}, ToNames());
  });
}

TEST_F(PairInBetween, ASidecarsCopyThatCannotBeTakenBackGoesLater) {
  for (const auto change : {CopyPair, MovePairAcrossVolumes}) {
    RunWithHeldCalls({{SYS_linkat, "", 2, {}, EDQUOT}, {SYS_renameat, "._a", 1, {}, EIO}},
                     [change, this] {
                       EXPECT_EQ(dskFulErr, Change(change));
                       EXPECT_EQ((Names{"._a", "a"}), FromNames());
                       EXPECT_EQ(2U, ToNames().size()) << "the copy, and the record";
                       List(folder_ / "to");
                       EXPECT_EQ(Names(), ToNames());
                     });
  }
}

TEST_F(PairInBetween, AMoveThatCannotLockItsRecordDoesNotMendItself) {
  RunWithHeldCalls({{SYS_flock, "", 3, {}, ENOLCK}}, [this] {
    EXPECT_EQ(noErr, Change(MovePairAcrossVolumes));
    EXPECT_EQ((Names{"._a", "a"}), ToNames());
    EXPECT_EQ(Names(), FromNames());
  });
}

TEST_F(PairInBetween, ASidecarThatIsNotDeletedGoesLater) {
  RunWithHeldCalls({{SYS_unlinkat, "", 2, {}, EBUSY}}, [this] {
    EXPECT_EQ(noErr, Change(MovePairAcrossVolumes));
    EXPECT_EQ((Names{"._a", "a"}), ToNames());
    EXPECT_EQ(2U, FromNames().size()) << "the record, and the sidecar aside";
    EXPECT_FALSE(Exists(From("._a")));
    List(folder_ / "from");
    EXPECT_EQ(Names(), FromNames());
    EXPECT_EQ((Names{"._a", "a"}), ToNames());
  });
}

TEST_F(PairInBetween, ASidecarWhoseNameIsTakenWhileItsItemStaysIsToldOf) {
  CapturedLog log;
  Place place = PlaceAt(From("a"));
  place.mayHaveSidecar = true;
  std::optional<Pair> pair;
  ASSERT_EQ(noErr, FindPair(place, &pair));
  ASSERT_TRUE(pair);
  EXPECT_EQ(fBsyErr, DeletePair(*pair, [this](const std::string&, const auto&) {
              WriteFile(From("._a"), "taken");
              return fBsyErr;
            }));
  EXPECT_EQ("taken", ReadFile(From("._a")));
  EXPECT_EQ("item", ReadFile(From("a")));
  ASSERT_EQ(1U, log.Messages().size());
  EXPECT_TRUE(log.Messages().front().starts_with("\"._a\" could not keep its name and is now"));
  // With the record, which leads the next look to it.
  EXPECT_EQ(4U, FromNames().size());
}

}  // namespace
}  // namespace tessary
