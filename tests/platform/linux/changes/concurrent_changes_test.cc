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

#include "platform/linux/catalog/temp_name.h"
#include "platform/linux/changes/rename_fallbacks.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/file_manager.h"
#include "tests/support/captured_log.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

// Changes that another program makes between two of our system calls, and single calls that fail.
namespace tessary::test {
namespace {

using Names = std::vector<std::string>;

class ConcurrentChanges : public testing::Test {
 protected:
  void SetUp() override {
    MakeFolder(folder_ / "from");
    MakeFolder(folder_ / "to");
  }

  std::string From(const std::string& name) const { return folder_ / ("from/" + name); }
  std::string To(const std::string& name) const { return folder_ / ("to/" + name); }
  Names FromNames() const { return NamesIn(folder_ / "from"); }
  Names ToNames() const { return NamesIn(folder_ / "to"); }

  // Replaces the folder by another one, like another program. The first one is then "replaced".
  void ReplaceFolder(const std::string& path) const {
    EXPECT_EQ(0, rename(path.c_str(), (folder_ / "replaced").c_str()));
    MakeFolder(path);
  }

  // Stages "from/folder" for deletion, and expects that another folder has its name.
  void StageReplacedFolder() const {
    const UniqueFd from = OpenFolder(folder_ / "from");
    TempItem staged;
    EXPECT_EQ(fnfErr, TempItem::StageForDeletion(from.get(), "folder", OpenFolder(From("folder")),
                                                 &staged));
  }

  TemporaryFolder folder_;
};

// ---- Temporary names ----

TEST_F(ConcurrentChanges, StagingRestoresReplacedFolder) {
  WriteFile(From("folder/ours"));
  const auto replace = [this] { ReplaceFolder(From("folder")); };
  RunWithPausedCalls({{SYS_renameat2, "folder", 1, replace}}, [this] {
    StageReplacedFolder();
    EXPECT_EQ(Names{"folder"}, FromNames());
    EXPECT_EQ(Names(), NamesIn(From("folder")));
    EXPECT_EQ(Names{"ours"}, NamesIn(folder_ / "replaced"));
  });
}

TEST_F(ConcurrentChanges, StagingLeavesReplacedFolderVisible) {
  WriteFile(From("folder/ours"));
  const auto replace = [this] { ReplaceFolder(From("folder")); };
  const auto useName = [this] { WriteFile(From("folder"), "other"); };
  RunWithPausedCalls({{SYS_renameat2, "", 1, replace}, {SYS_renameat2, "", 2, useName}}, [this] {
    StageReplacedFolder();
    EXPECT_EQ("other", ReadFile(From("folder")));
    ASSERT_EQ(2U, FromNames().size());
    EXPECT_TRUE(FromNames().back().starts_with("tessary-")) << FromNames().back();
  });
}

TEST_F(ConcurrentChanges, UnopenableTempFolderIsRemoved) {
  RunWithPausedCalls({{SYS_openat, "", 1, {}, EMFILE}}, [to = folder_ / "to", this] {
    const UniqueFd folder(static_cast<int>(syscall(SYS_open, to.c_str(), O_PATH | O_CLOEXEC)));
    TempItem item;
    EXPECT_EQ(tmfoErr, TempItem::MakeTempFolder(folder.get(), &item));
    EXPECT_EQ(Names(), ToNames());
  });
}

// Another process finds the file before it is locked, takes it for stale and deletes it.
TEST_F(ConcurrentChanges, CleanedUpTempFileIsMadeAgain) {
  const auto cleanUp = [this] {
    for (const std::string& name : ToNames()) EXPECT_EQ(0, unlink(To(name).c_str()));
  };
  RunWithPausedCalls({{SYS_flock, "", 1, cleanUp}}, [this] {
    const UniqueFd to = OpenFolder(folder_ / "to");
    TempItem item;
    ASSERT_EQ(noErr, TempItem::MakeTempFile(to.get(), &item));
    EXPECT_EQ(Names{item.name()}, ToNames());
  });
}

// ---- Renaming without RENAME_NOREPLACE ----

TEST_F(ConcurrentChanges, RenameWithRemovedPlaceholder) {
  WriteFile(From("a"), "only copy");
  const auto removePlaceholder = [this] { EXPECT_EQ(0, unlink(To("b").c_str())); };
  RunWithPausedCalls({{SYS_statx, "b", 1, removePlaceholder}}, [this] {
    const UniqueFd from = OpenFolder(folder_ / "from");
    const UniqueFd to = OpenFolder(folder_ / "to");
    EXPECT_EQ(dupFNErr, RenameOntoPlaceholder(from.get(), "a", to.get(), "b"));
    EXPECT_EQ("only copy", ReadFile(From("a")));
    EXPECT_EQ(Names(), ToNames());
  });
}

// Programs save a file in this way. Whichever version gets the new name, the rename has succeeded.
TEST_F(ConcurrentChanges, RenameByLinkOfReplacedFile) {
  struct Row {
    PausedCall call;
    const char* target;
    Names left;
  };
  const auto replace = [this] {
    EXPECT_EQ(0, rename((folder_ / "saved").c_str(), From("a").c_str()));
  };
  const auto remove = [this] { EXPECT_EQ(0, unlink(From("a").c_str())); };
  const std::vector<Row> rows = {
      {{SYS_linkat, "a", 1, replace}, "new", {}},
      {{SYS_statx, "b", 1, replace}, "old", {"a"}},
      {{SYS_unlinkat, "a", 1, remove}, "old", {}},
  };
  for (const Row& row : rows) {
    WriteFile(From("a"), "old");
    WriteFile(folder_ / "saved", "new");
    RunWithPausedCalls({row.call}, [this, &row] {
      const UniqueFd from = OpenFolder(folder_ / "from");
      const UniqueFd to = OpenFolder(folder_ / "to");
      EXPECT_EQ(noErr, RenameByLink(from.get(), "a", to.get(), "b"));
      EXPECT_EQ(row.target, ReadFile(To("b")));
      EXPECT_EQ(row.left, FromNames());
    });
    if (IsSkipped()) return;
    EXPECT_FALSE(HasFailure()) << row.call.number;
    EXPECT_EQ(0, unlink(To("b").c_str()));
  }
}

TEST_F(ConcurrentChanges, RenameByLinkToReplacedName) {
  WriteFile(From("a"), "only copy");
  WriteFile(folder_ / "saved", "other");
  const auto replace = [this] {
    EXPECT_EQ(0, rename((folder_ / "saved").c_str(), To("b").c_str()));
  };
  RunWithPausedCalls({{SYS_statx, "b", 1, replace}}, [this] {
    const UniqueFd from = OpenFolder(folder_ / "from");
    const UniqueFd to = OpenFolder(folder_ / "to");
    EXPECT_EQ(dupFNErr, RenameByLink(from.get(), "a", to.get(), "b"));
    EXPECT_EQ("only copy", ReadFile(From("a")));
    EXPECT_EQ("other", ReadFile(To("b")));
  });
}

// ---- Moving ----

// Programs save a file in this way.
TEST_F(ConcurrentChanges, MoveOfReplacedItem) {
  WriteFile(From("file"), "old");
  WriteFile(folder_ / "saved", "new");
  const auto replace = [this] {
    EXPECT_EQ(0, rename((folder_ / "saved").c_str(), From("file").c_str()));
  };
  RunWithPausedCalls({{SYS_renameat2, "file", 1, replace}}, [this] {
    FSRef moved;
    EXPECT_EQ(noErr, FSMoveObjectSync(RefAt(From("file")), RefAt(folder_ / "to"), nullptr, &moved));
    EXPECT_TRUE(FSIsFSRefValid(moved)) << "refers to the object that was replaced";
    EXPECT_EQ(noErr, FSCompareFSRefs(moved, RefAt(To("file"))));
    EXPECT_EQ("new", ReadFile(To("file")));
    EXPECT_EQ(Names(), FromNames());
  });
}

// ---- Deleting ----

TEST_F(ConcurrentChanges, DeleteInUnlistableFolder) {
  WriteFile(From("file"), "item");
  WriteFile(From("._file"), "sidecar");
  RunWithPausedCalls({{SYS_getdents64, "", 1, {}, EACCES}}, [this] {
    EXPECT_EQ(noErr, FSDeleteObject(RefAt(From("file"))));
    EXPECT_EQ(Names(), FromNames());
  });
}

// ---- Copying ----

TEST_F(ConcurrentChanges, CopyAtMaximumOfLinks) {
  WriteFile(From("package/a"), "contents");
  ASSERT_EQ(0, link(From("package/a").c_str(), From("package/b").c_str()));
  RunWithPausedCalls({{SYS_linkat, "", 2, {}, EMLINK}}, [this] {
    EXPECT_EQ(noErr, CopyAt(From("package"), To("package")));
    EXPECT_EQ("contents", ReadFile(To("package/a")));
    EXPECT_EQ("contents", ReadFile(To("package/b")));
    EXPECT_NE(LstatAt(To("package/a")).st_ino, LstatAt(To("package/b")).st_ino);
    EXPECT_EQ(Names{"package"}, ToNames());
  });
}

TEST_F(ConcurrentChanges, LinkCopyIsCompleteOrAbsent) {
  MakeLink("nowhere", From("link"));
  const auto remove = [this] { EXPECT_EQ(0, unlink(From("link").c_str())); };
  const std::vector<PausedCall> rows = {
      {SYS_openat, "link", 1, remove, 0},  {SYS_readlinkat, "", 1, {}, EIO},
      {SYS_symlinkat, "", 1, {}, EDQUOT},  {SYS_symlinkat, "", 2, {}, EDQUOT},
      {SYS_openat, "link", 2, {}, EMFILE}, {SYS_fchownat, "link", 1, {}, EIO},
      {SYS_utimensat, "link", 1, {}, EIO}, {SYS_renameat2, "link", 1, {}, EIO},
  };
  for (const PausedCall& row : rows) {
    if (!Exists(From("link"))) MakeLink("nowhere", From("link"));
    RunWithPausedCalls({row}, [this] {
      EXPECT_NE(noErr, CopyAt(From("link"), To("link")));
      EXPECT_EQ(Names(), ToNames());
    });
    if (IsSkipped()) return;
    EXPECT_FALSE(HasFailure()) << row.number << " " << row.name << " " << row.occurrence;
  }
}

TEST_F(ConcurrentChanges, LinkCopyWithFailingStat) {
  MakeLink("nowhere", From("link"));
  // The first two calls are the test's own; the last one stats the link under its new name.
  for (int occurrence = 3; occurrence <= 10; ++occurrence) {
    RunWithPausedCalls({{SYS_statx, "", occurrence, {}, EIO}}, [this] {
      const bool isCopied = CopyAt(From("link"), To("link")) == noErr;
      Names names = ToNames();
      std::erase_if(names, IsTempName);
      EXPECT_EQ(isCopied ? Names{"link"} : Names(), names);
      EXPECT_EQ(isCopied ? 0 : -1, unlink(To("link").c_str()));
    });
    if (IsSkipped()) return;
    EXPECT_FALSE(HasFailure()) << occurrence;
  }
}

// ---- Moving to another filesystem ----

TEST_F(ConcurrentChanges, MoveLogsSourceThatLostItsName) {
  WriteFile(From("package/file"), "contents");
  const auto useName = [this] { WriteFile(From("package"), "other"); };
  RunWithPausedCalls({{SYS_unlinkat, "file", 1, useName, EPERM}}, [this] {
    CapturedLog log;
    EXPECT_EQ(dupFNErr, MoveAcrossAt(From("package"), To("package")));
    EXPECT_EQ("other", ReadFile(From("package")));
    EXPECT_EQ("contents", ReadFile(To("package/file"))) << "the copy stays";
    ASSERT_EQ(2U, FromNames().size());
    const std::string tempName = FromNames().front();
    EXPECT_EQ("contents", ReadFile(From(tempName + "/file")));
    EXPECT_EQ(Names{"\"package\" could not be deleted and is now \"" + tempName + "\""},
              log.Messages());
  });
}

// The open for writing waits for the end of the lease, and would write to a deleted file.
TEST_F(ConcurrentChanges, MoveKeepsFileWithWaitingWriter) {
  WriteFile(From("file"), "contents");
  const auto waitToWrite = [this] {
    ASSERT_EQ(1U, FromNames().size());
    // Does not wait, but the kernel asks for the lease all the same.
    EXPECT_EQ(-1, open(From(FromNames()[0]).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(EWOULDBLOCK, errno);
  };
  RunWithPausedCalls({{SYS_fcntl, "", 1, waitToWrite, 0, F_GETLEASE}}, [this] {
    EXPECT_EQ(fBsyErr, MoveAcrossAt(From("file"), To("file")));
    EXPECT_EQ("contents", ReadFile(From("file")));
    EXPECT_EQ(Names(), ToNames());
  });
}

// A missing object inside the package does not mean that the package is gone.
TEST_F(ConcurrentChanges, MoveWithVanishingFileInPackage) {
  for (int occurrence = 1; occurrence <= 3; ++occurrence) {
    WriteFile(From("package/file"), "contents");
    RunWithPausedCalls({{SYS_statx, "file", occurrence, {}, ENOENT}}, [this] {
      EXPECT_NE(noErr, MoveAcrossAt(From("package"), To("package")));
      EXPECT_EQ("contents", ReadFile(From("package/file")));
      EXPECT_EQ(Names(), ToNames());
    });
    if (IsSkipped()) return;
    EXPECT_FALSE(HasFailure()) << occurrence;
  }
}

TEST_F(ConcurrentChanges, MoveWithoutSyncFileRange) {
  WriteFile(From("file"), "contents");
  RunWithPausedCalls({{SYS_sync_file_range, "", 1, {}, ESPIPE}}, [this] {
    EXPECT_EQ(noErr, MoveAcrossAt(From("file"), To("file")));
    EXPECT_EQ("contents", ReadFile(To("file")));
    EXPECT_EQ(Names(), FromNames());
  });
}

TEST_F(ConcurrentChanges, MoveWithWriteErrorIsRolledBack) {
  WriteFile(From("file"), "contents");
  RunWithPausedCalls({{SYS_sync_file_range, "", 1, {}, EIO}}, [this] {
    EXPECT_EQ(ioErr, MoveAcrossAt(From("file"), To("file")));
    EXPECT_EQ("contents", ReadFile(From("file")));
    EXPECT_EQ(Names(), ToNames());
  });
}

TEST_F(ConcurrentChanges, MoveIntoUnreadableFolder) {
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

// ---- Items with sidecars ----

class ConcurrentSidecarChanges : public ConcurrentChanges {
 protected:
  void SetUp() override {
    ConcurrentChanges::SetUp();
    WriteFile(From("a"), "item");
    WriteFile(From("._a"), "sidecar");
  }

  Status Change(Status (*change)(const ItemWithSidecar&, const TargetWithPath&)) const {
    Place place = PlaceAt(From("a"));
    place.mayHaveSidecar = true;
    std::optional<ItemWithSidecar> pair;
    EXPECT_EQ(noErr, FindWithSidecar(place, &pair));
    EXPECT_TRUE(pair);
    const UniqueFd to = OpenFolder(folder_ / "to");
    TargetWithPath target;
    target.folder = to.get();
    target.name = "a";
    target.identity = IdentityAt(to.get(), "");
    target.path = folder_ / "to";
    return change(*pair, target);
  }
};

TEST_F(ConcurrentSidecarChanges, FailedRollbackIsLoggedAndRecovered) {
  const auto useBothNames = [this] {
    WriteFile(To("a"), "other");
    WriteFile(From("._a"), "other");
  };
  RunWithPausedCalls({{SYS_renameat2, "a", 1, useBothNames}}, [this] {
    CapturedLog log;
    EXPECT_EQ(dupFNErr, Change(MoveWithSidecar));
    EXPECT_EQ("item", ReadFile(From("a")));
    EXPECT_EQ("sidecar", ReadFile(To("._a")));
    EXPECT_EQ(Names{"\"._a\" could not be moved back and is now \"" + To("._a") + "\""},
              log.Messages());
    EXPECT_EQ(3U, FromNames().size()) << "the journal entry stays";
    EXPECT_EQ(0, unlink(From("._a").c_str()));
    RecoverFolder(folder_ / "from");
    EXPECT_EQ((Names{"._a", "a"}), FromNames());
    EXPECT_EQ("sidecar", ReadFile(From("._a")));
    EXPECT_EQ(Names{"a"}, ToNames());
  });
}

TEST_F(ConcurrentSidecarChanges, UnremovableCopyIsRecovered) {
  for (const auto change : {CopyWithSidecar, MoveWithSidecarAcrossFilesystems}) {
    RunWithPausedCalls({{SYS_linkat, "", 2, {}, EDQUOT}, {SYS_renameat, "._a", 1, {}, EIO}},
                       [change, this] {
                         EXPECT_EQ(dskFulErr, Change(change));
                         EXPECT_EQ((Names{"._a", "a"}), FromNames());
                         EXPECT_EQ(2U, ToNames().size()) << "the copy and the journal entry";
                         RecoverFolder(folder_ / "to");
                         EXPECT_EQ(Names(), ToNames());
                       });
  }
}

TEST_F(ConcurrentSidecarChanges, MoveAcrossKeepsRewrittenSidecar) {
  const auto rewrite = [this] { WriteFile(From("._a"), "rewritten"); };
  RunWithPausedCalls({{SYS_renameat2, "._a", 1, rewrite}}, [this] {
    EXPECT_EQ(fBsyErr, Change(MoveWithSidecarAcrossFilesystems));
    EXPECT_EQ((Names{"._a", "a"}), FromNames());
    EXPECT_EQ("rewritten", ReadFile(From("._a")));
    EXPECT_EQ(Names(), ToNames());
  });
}

TEST_F(ConcurrentSidecarChanges, MoveAcrossSyncsSidecarFirst) {
  const auto checkTarget = [this] {
    EXPECT_TRUE(Exists(To("._a")));
    EXPECT_FALSE(Exists(To("a")));
  };
  RunWithPausedCalls({{SYS_fsync, "", 1, checkTarget, EIO}}, [this] {
    EXPECT_EQ(ioErr, Change(MoveWithSidecarAcrossFilesystems));
    EXPECT_EQ((Names{"._a", "a"}), FromNames());
    EXPECT_EQ(Names(), ToNames());
  });
}

// Another process finds the entry before it is locked, takes it for that of a crashed process and
// removes it.
TEST_F(ConcurrentSidecarChanges, RemovedJournalEntryIsWrittenAgain) {
  const auto removeEntry = [this] {
    for (const std::string& name : ToNames()) EXPECT_EQ(0, unlink(To(name).c_str()));
  };
  RunWithPausedCalls({{SYS_flock, "", 1, removeEntry}}, [this] {
    const UniqueFd to = OpenFolder(folder_ / "to");
    const JournalEntry entry = {JournalOperation::kCopy, "a", "a", "", {}, {}};
    SidecarJournal journal;
    ASSERT_EQ(noErr, SidecarJournal::Write(to.get(), entry, &journal));
    ASSERT_EQ(1U, ToNames().size());
    EXPECT_EQ(FormatJournalEntry(entry), ReadFile(To(ToNames()[0])));
  });
}

TEST_F(ConcurrentSidecarChanges, MoveAcrossFilesystemsNeedsNoLocks) {
  RunWithPausedCalls({{SYS_flock, "", 1, {}, ENOLCK}, {SYS_flock, "", 2, {}, ENOLCK}}, [this] {
    EXPECT_EQ(noErr, Change(MoveWithSidecarAcrossFilesystems));
    EXPECT_EQ((Names{"._a", "a"}), ToNames());
    EXPECT_EQ(Names(), FromNames());
  });
}

TEST_F(ConcurrentSidecarChanges, UndeletableSidecarIsRecovered) {
  RunWithPausedCalls({{SYS_unlinkat, "", 2, {}, EBUSY}}, [this] {
    EXPECT_EQ(noErr, Change(MoveWithSidecarAcrossFilesystems));
    EXPECT_EQ((Names{"._a", "a"}), ToNames());
    EXPECT_EQ(1U, FromNames().size()) << "a stale temporary file";
    EXPECT_FALSE(Exists(From("._a")));
    RecoverFolder(folder_ / "from");
    EXPECT_EQ(Names(), FromNames());
    EXPECT_EQ((Names{"._a", "a"}), ToNames());
  });
}

TEST_F(ConcurrentSidecarChanges, SidecarThatLostItsNameIsLogged) {
  CapturedLog log;
  Place place = PlaceAt(From("a"));
  place.mayHaveSidecar = true;
  std::optional<ItemWithSidecar> pair;
  ASSERT_EQ(noErr, FindWithSidecar(place, &pair));
  ASSERT_TRUE(pair);
  EXPECT_EQ(fBsyErr, DeleteWithSidecar(*pair, [this](const std::string&) {
              WriteFile(From("._a"), "other");
              return fBsyErr;
            }));
  EXPECT_EQ("other", ReadFile(From("._a")));
  EXPECT_EQ("item", ReadFile(From("a")));
  ASSERT_EQ(1U, log.Messages().size());
  EXPECT_TRUE(log.Messages().front().starts_with("\"._a\" could not keep its name and is now"));
  // The fourth is the journal entry, by which recovery finds the sidecar.
  EXPECT_EQ(4U, FromNames().size());
}

}  // namespace
}  // namespace tessary::test
