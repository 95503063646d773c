#include "platform/linux/sidecars/sidecar_moves.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <string>
#include <vector>

#include "platform/linux/sidecars/sidecar_journal.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using Names = std::vector<std::string>;
using Transfer = Status (*)(const FSRef&, const FSRef&, const std::u16string*, FSRef*);

// The answer of a filesystem without RENAME_NOREPLACE.
const InjectedError kNoRenameNoReplace = {SYS_renameat2, EINVAL, 4, RENAME_NOREPLACE};

// Has the catalog see the sidecars in a folder, as in a run.
void List(const std::string& path) {
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(path), &iterator));
  std::array<FSRef, 10> refs;
  size_t actual = 0;
  bool changed = false;
  Status status = noErr;
  while (status == noErr) {
    status = FSGetCatalogInfoBulk(*iterator, refs.size(), &actual, &changed, refs.data());
  }
  EXPECT_EQ(errFSNoMoreItems, status);
}

struct Way {
  const char* name;
  Transfer transfer;
  bool isAcross;
  bool keepsSource;
};

// Moving and copying, within a filesystem and from one to another.
class SidecarTransfer : public testing::TestWithParam<Way> {
 protected:
  SidecarTransfer() : from_(disk_), to_(GetParam().isAcross ? memory_ : disk_) {
    MakeFolder(from());
    MakeFolder(to());
  }

  void SetUp() override {
    if (GetParam().isAcross && !AreOnDifferentVolumes(from_.path(), to_.path())) {
      GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
    }
  }

  std::string from() const { return from_ / "from"; }
  std::string to() const { return to_ / "to"; }
  std::string From(const std::string& name) const { return from() + "/" + name; }
  std::string To(const std::string& name) const { return to() + "/" + name; }

  Status Run(const std::string& name, const std::u16string* newName = nullptr) const {
    const NSAutoreleasePool pool;
    List(from());
    FSRef target;
    const size_t before = CountOpenDescriptors();
    const Status status = GetParam().transfer(RefAt(From(name)), RefAt(to()), newName, &target);
    // Each folder may have been opened for the catalog.
    EXPECT_GE(before + 4, CountOpenDescriptors());
    return status;
  }

  void ExpectSource(const Names& names) const {
    EXPECT_EQ(GetParam().keepsSource ? names : Names(), NamesIn(from()));
  }

  TemporaryFolder disk_;
  TemporaryFolder memory_{"/dev/shm"};
  TemporaryFolder& from_;
  TemporaryFolder& to_;
};

INSTANTIATE_TEST_SUITE_P(Ways, SidecarTransfer,
                         testing::Values(Way{"Move", FSMoveObjectSync, false, false},
                                         Way{"MoveAcross", FSMoveObjectSync, true, false},
                                         Way{"Copy", FSCopyObjectSync, false, true},
                                         Way{"CopyAcross", FSCopyObjectSync, true, true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(SidecarTransfer, IncludesSidecar) {
  const std::string bytes("\0\5\x16\7 sidecar\xff", 13);
  for (const std::string name : {"photo.jpg", "caf\xe9", "new\nline", "two..dots"}) {
    WriteFile(From(name), "item");
    WriteFile(From("._" + name), bytes);
    ASSERT_EQ(noErr, Run(name)) << name;
    EXPECT_EQ("item", ReadFile(To(name)));
    EXPECT_EQ(bytes, ReadFile(To("._" + name)));
    EXPECT_EQ(GetParam().keepsSource, Exists(From("._" + name)));
    EXPECT_EQ(GetParam().keepsSource, Exists(From(name)));
  }
  EXPECT_EQ(8U, NamesIn(to()).size());
}

TEST_P(SidecarTransfer, RenamesSidecarWithItem) {
  WriteFile(From("a.txt"), "item");
  WriteFile(From("._a.txt"), "sidecar");
  const std::u16string newName = u"a/b - X.txt";
  ASSERT_EQ(noErr, Run("a.txt", &newName));
  EXPECT_EQ((Names{"._a:b - X.txt", "a:b - X.txt"}), NamesIn(to()));
  ExpectSource({"._a.txt", "a.txt"});
}

TEST_P(SidecarTransfer, IncludesSidecarOfPackageAndLink) {
  WriteFile(From("Tool.app/Contents/Info"), "info");
  WriteFile(From("Tool.app/._Contents"), "inner");
  WriteFile(From("._Tool.app"), "sidecar");
  MakeLink("nowhere", From("link"));
  WriteFile(From("._link"), "of link");
  ASSERT_EQ(noErr, Run("Tool.app"));
  ASSERT_EQ(noErr, Run("link"));
  EXPECT_EQ(
      (Names{"._Tool.app", "._link", "Tool.app/._Contents", "Tool.app/Contents/Info", "link"}),
      FilesBelow(to()));
  ExpectSource({"._Tool.app", "._link", "Tool.app", "link"});
}

TEST_P(SidecarTransfer, LeavesOtherObjects) {
  WriteFile(From("a"), "item");
  WriteFile(From("._b"), "orphan");
  MakeFolder(From("._a"));
  ASSERT_EQ(noErr, Run("a"));
  EXPECT_EQ(Names{"a"}, NamesIn(to())) << "a folder is not a sidecar";
  EXPECT_TRUE(Exists(From("._a")));
  EXPECT_TRUE(Exists(From("._b")));
}

TEST_P(SidecarTransfer, ReplacesNeitherName) {
  WriteFile(From("a"), "item");
  WriteFile(From("._a"), "sidecar");
  for (const std::string existing : {"._a", "a"}) {
    WriteFile(To(existing), "theirs");
    EXPECT_EQ(dupFNErr, Run("a")) << existing;
    EXPECT_EQ(Names{existing}, NamesIn(to()));
    EXPECT_EQ("theirs", ReadFile(To(existing)));
    EXPECT_EQ((Names{"._a", "a"}), NamesIn(from()));
    EXPECT_EQ("sidecar", ReadFile(From("._a")));
    ASSERT_EQ(0, unlink(To(existing).c_str()));
  }
}

TEST_P(SidecarTransfer, FailsForBothIfSidecarNameIsTooLong) {
  // The longest item name whose sidecar's name is too long.
  const std::string name(254, 'x');
  WriteFile(From("a"), "item");
  WriteFile(From("._a"), "sidecar");
  const std::u16string newName(name.begin(), name.end());
  EXPECT_EQ(bdNamErr, Run("a", &newName));
  EXPECT_EQ(Names(), NamesIn(to()));
  EXPECT_EQ((Names{"._a", "a"}), NamesIn(from()));
  WriteFile(From(name), "alone");
  EXPECT_EQ(noErr, Run(name)) << "it cannot have a sidecar";
}

TEST_P(SidecarTransfer, FailsForBothIfSidecarIsImmutable) {
  WriteFile(From("a"), "item");
  WriteFile(From("._a"), "sidecar");
  const UniqueFd file(open(From("._a").c_str(), O_RDONLY | O_CLOEXEC));
  int flags = FS_IMMUTABLE_FL;
  if (ioctl(file.get(), FS_IOC_SETFLAGS, &flags) != 0) GTEST_SKIP() << "cannot make immutable here";
  const Status status = Run("a");
  flags = 0;
  ASSERT_EQ(0, ioctl(file.get(), FS_IOC_SETFLAGS, &flags));
  EXPECT_EQ(GetParam().keepsSource ? noErr : afpAccessDenied, status);
  EXPECT_EQ((Names{"._a", "a"}), NamesIn(from()));
  EXPECT_EQ(GetParam().keepsSource ? (Names{"._a", "a"}) : Names(), NamesIn(to()));
}

TEST_P(SidecarTransfer, FailsForBothIfItemIsSpecial) {
  ASSERT_EQ(0, mkfifo(From("pipe").c_str(), 0600));
  WriteFile(From("._pipe"), "sidecar");
  const bool isRenamed = !GetParam().isAcross && !GetParam().keepsSource;
  EXPECT_EQ(isRenamed ? noErr : paramErr, Run("pipe"));
  EXPECT_EQ((Names{"._pipe", "pipe"}), NamesIn(isRenamed ? to() : from()));
  EXPECT_EQ(Names(), NamesIn(isRenamed ? from() : to()));
}

TEST_P(SidecarTransfer, WorksWithoutRenameNoReplace) {
  const bool isClean = RunWithInjectedErrors({kNoRenameNoReplace}, [this] {
    WriteFile(From("a"), "item");
    WriteFile(From("._a"), "sidecar");
    WriteFile(From("b"), "item");
    WriteFile(From("._b"), "sidecar");
    WriteFile(To("._b"), "theirs");
    EXPECT_EQ(noErr, Run("a"));
    EXPECT_EQ(dupFNErr, Run("b"));
    EXPECT_EQ((Names{"._a", "._b", "a"}), NamesIn(to()));
    EXPECT_EQ("theirs", ReadFile(To("._b")));
    EXPECT_EQ("sidecar", ReadFile(From("._b")));
  });
  EXPECT_TRUE(isClean);
}

TEST_P(SidecarTransfer, WorksWithoutHardLinks) {
  const bool isClean = RunWithInjectedErrors({kNoRenameNoReplace, {SYS_linkat, EPERM}}, [this] {
    WriteFile(From("a"), "item");
    WriteFile(From("._a"), "sidecar");
    EXPECT_EQ(noErr, Run("a"));
    EXPECT_EQ((Names{"._a", "a"}), NamesIn(to()));
    EXPECT_EQ("sidecar", ReadFile(To("._a")));
    ExpectSource({"._a", "a"});
  });
  EXPECT_TRUE(isClean);
}

TEST_P(SidecarTransfer, KeepsDatesAndAttributesOfSidecar) {
  WriteFile(From("a"), "item");
  WriteFile(From("._a"), "sidecar");
  SetModificationDate(From("._a"), 1'000'000'000);
  const bool hasAttributes = SetAttribute(From("._a"), "user.own", "value");
  ASSERT_EQ(noErr, Run("a"));
  EXPECT_EQ(1'000'000'000, LstatAt(To("._a")).st_mtime);
  EXPECT_EQ(hasAttributes ? "value" : "(none)", AttributeAt(To("._a"), "user.own"));
}

TEST(SidecarTransferToFullDisk, LeavesNothing) {
  const MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  const TemporaryFolder disk;
  for (const bool isSidecarLarge : {true, false}) {
    WriteFile(disk / "a", std::string(isSidecarLarge ? 1 : 100'000, 'i'));
    WriteFile(disk / "._a", std::string(isSidecarLarge ? 100'000 : 1, 's'));
    for (const Transfer transfer : {FSMoveObjectSync, FSCopyObjectSync}) {
      const NSAutoreleasePool pool;
      List(disk.path());
      FSRef target;
      EXPECT_EQ(dskFulErr, transfer(RefAt(disk / "a"), RefAt(volume.path()), nullptr, &target));
      EXPECT_EQ(Names(), NamesIn(volume.path()));
      EXPECT_EQ((Names{"._a", "a"}), NamesIn(disk.path()));
    }
  }
}

// A user whose disk is full must be able to move and delete files: no journal entry is needed.
TEST(SidecarTransferOnFullDisk, WorksWithoutJournal) {
  const MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  const TemporaryFolder disk;
  MakeFolder(volume / "to");
  for (const std::string name : {"a", "b", "c"}) {
    WriteFile(volume / name, "item");
    WriteFile(volume / ("._" + name), "sidecar");
  }
  std::ofstream(volume / "rest") << std::string(65'536, 'x');
  const NSAutoreleasePool pool;
  List(volume.path());
  FSRef target;
  EXPECT_EQ(noErr, FSMoveObjectSync(RefAt(volume / "a"), RefAt(volume / "to"), nullptr, &target));
  EXPECT_EQ(noErr, FSDeleteObject(RefAt(volume / "b")));
  EXPECT_EQ(noErr, FSMoveObjectSync(RefAt(volume / "c"), RefAt(disk.path()), nullptr, &target));
  EXPECT_EQ((Names{"rest", "to/._a", "to/a"}), FilesBelow(volume.path()));
  EXPECT_EQ((Names{"._c", "c"}), NamesIn(disk.path()));
}

using Delete = int (*)(const std::string& path);

// The two ways in which the engine deletes an item that is replaced.
class SidecarDeletion : public testing::TestWithParam<Delete> {
 protected:
  int Run(const std::string& name) const {
    const NSAutoreleasePool pool;
    return GetParam()(folder_ / name);
  }

  TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(
    Ways, SidecarDeletion,
    testing::Values([](const std::string& path) -> int { return FSDeleteObject(RefAt(path)); },
                    [](const std::string& path) { return PosixUnlink(path.c_str()); }));

TEST_P(SidecarDeletion, IncludesSidecarInUnlistedFolder) {
  WriteFile(folder_ / "a", "item");
  WriteFile(folder_ / "._a", "sidecar");
  WriteFile(folder_ / "._b", "orphan");
  WriteFile(folder_ / "c");
  EXPECT_EQ(0, Run("a"));
  EXPECT_EQ((Names{"._b", "c"}), NamesIn(folder_.path()));
  EXPECT_EQ(0, Run("c"));
  EXPECT_EQ(0, Run("._b")) << "by its own name";
  EXPECT_EQ(Names(), NamesIn(folder_.path()));
}

TEST_P(SidecarDeletion, IncludesSidecarAddedSinceLastRun) {
  WriteFile(folder_ / "a", "item");
  const FSRef outlivesTheRun = RefAt(folder_ / "a");
  {
    const NSAutoreleasePool run;
    List(folder_.path());
  }
  WriteFile(folder_ / "._a", "sidecar");
  EXPECT_EQ(0, Run("a"));
  EXPECT_EQ(Names(), NamesIn(folder_.path()));
  EXPECT_FALSE(FSIsFSRefValid(outlivesTheRun));
}

TEST_P(SidecarDeletion, KeepsBothIfOneIsImmutable) {
  for (const std::string immutable : {"._a", "a"}) {
    WriteFile(folder_ / "a", "item");
    WriteFile(folder_ / "._a", "sidecar");
    const UniqueFd file(open((folder_ / immutable).c_str(), O_RDONLY | O_CLOEXEC));
    int flags = FS_IMMUTABLE_FL;
    if (ioctl(file.get(), FS_IOC_SETFLAGS, &flags) != 0) {
      GTEST_SKIP() << "cannot make immutable here";
    }
    EXPECT_NE(0, Run("a"));
    flags = 0;
    ASSERT_EQ(0, ioctl(file.get(), FS_IOC_SETFLAGS, &flags));
    EXPECT_EQ((Names{"._a", "a"}), NamesIn(folder_.path())) << immutable;
    EXPECT_EQ("sidecar", ReadFile(folder_ / "._a"));
  }
}

// Unlinking fails from a call on: the first one deletes the item, the next one its sidecar, the
// last one the journal entry.
TEST_P(SidecarDeletion, DeletesSidecarLast) {
  for (int failed = 1; failed <= 2; ++failed) {
    WriteFile(folder_ / "a", "item");
    WriteFile(folder_ / "._a", "sidecar");
    std::vector<PausedCall> calls;
    for (int i = failed; i <= failed + 1; ++i) calls.push_back({SYS_unlinkat, "", i, {}, EIO});
    RunWithPausedCalls(calls, [&] {
      EXPECT_EQ(failed > 1, Run("a") == 0) << failed;
      EXPECT_EQ(failed == 1, Exists(folder_ / "a"));
      EXPECT_EQ(failed == 1, Exists(folder_ / "._a"));
    });
    RecoverFolder(folder_.path());
    EXPECT_EQ(failed == 1 ? (Names{"._a", "a"}) : Names(), NamesIn(folder_.path())) << failed;
  }
}

TEST_P(SidecarDeletion, KeepsNonEmptyFolderAndSidecar) {
  WriteFile(folder_ / "a/file");
  WriteFile(folder_ / "._a", "sidecar");
  EXPECT_NE(0, Run("a"));
  EXPECT_EQ((Names{"._a", "a"}), NamesIn(folder_.path()));
}

TEST(FSDeleteObject, IncludesSidecarOfEmptyFolder) {
  const TemporaryFolder folder;
  MakeFolder(folder / "a");
  WriteFile(folder / "._a", "sidecar");
  EXPECT_EQ(noErr, FSDeleteObject(RefAt(folder / "a")));
  EXPECT_EQ(Names(), NamesIn(folder.path()));
}

TEST(PosixUnlink, IgnoresOrphanedSidecar) {
  const TemporaryFolder folder;
  WriteFile(folder / "._a", "sidecar");
  const NSAutoreleasePool pool;
  EXPECT_EQ(ENOENT, PosixUnlink((folder / "a").c_str()));
  EXPECT_EQ(Names{"._a"}, NamesIn(folder.path()));
}

// A rename by a hard link takes two steps. The entry keeps a run from moving the item on between
// them without its sidecar.
TEST(MoveWithSidecar, WritesEntryAtTargetIfRenameTakesTwoSteps) {
  const TemporaryFolder folder;
  WriteFile(folder / "from/a", "item");
  WriteFile(folder / "from/._a", "sidecar");
  MakeFolder(folder / "to");
  const auto check = [&folder] {
    const Names names = NamesIn(folder / "to");
    ASSERT_EQ(2U, names.size());
    EXPECT_EQ("._a", names[0]);
    EXPECT_TRUE(IsJournalEntryName(names[1])) << names[1];
  };
  RunWithPausedCalls({{SYS_renameat2, "._a", 1, {}, EINVAL}, {SYS_linkat, "a", 1, check}}, [&] {
    const NSAutoreleasePool pool;
    ListFolder(folder / "from");
    FSRef target;
    EXPECT_EQ(noErr,
              FSMoveObjectSync(RefAt(folder / "from/a"), RefAt(folder / "to"), nullptr, &target));
    EXPECT_EQ((Names{"._a", "a"}), NamesIn(folder / "to"));
  });
}

}  // namespace
}  // namespace tessary::test
