#include "platform/linux/changes/move_across_filesystems.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/catalog/creation_date.h"
#include "tests/support/captured_log.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace {

// Called in the first fsync after `gAwaitedPath` exists: in a move, when the source is copied and
// not yet deleted.
std::function<void()> gAtSync;
std::string gAwaitedPath;

int gSyncs = 0;
int gVolumeSyncs = 0;

}  // namespace

// Override the C library's functions in this test program.
extern "C" int fsync(int fd) {
  ++gSyncs;
  if (gAtSync && access(gAwaitedPath.c_str(), F_OK) == 0) std::exchange(gAtSync, nullptr)();
  return static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" int syncfs(int fd) noexcept {
  ++gVolumeSyncs;
  return static_cast<int>(syscall(SYS_syncfs, fd));
}

namespace tessary::test {
namespace {

constexpr char kCommentName[] = "user.xdg.comment";

// Moves from the filesystem of the temporary folder to memory, and back.
class MoveAcrossTest : public testing::TestWithParam<bool> {
 protected:
  MoveAcrossTest() : from_(GetParam() ? disk_ : memory_), to_(GetParam() ? memory_ : disk_) {}

  void SetUp() override {
    if (!AreOnDifferentVolumes(disk_.path(), memory_.path())) {
      GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
    }
  }

  Status Move(const std::string& name) { return MoveAcrossAt(from_ / name, to_ / name); }

  void MakePackage() {
    WriteFile(from_ / "package/Contents/file", "only copy");
    WriteFile(from_ / "package/Contents/caf\xe9", "x");
    ASSERT_EQ(0, link((from_ / "package/Contents/file").c_str(), (from_ / "package/hard").c_str()));
    MakeLink("nowhere", from_ / "package/link");
    before_ = FilesBelow(from_ / "package");
  }

  // Calls `action` during the next move, when the item is copied and not yet deleted.
  void WhileMoving(const std::string& name, std::function<void()> action) {
    gAwaitedPath = to_ / name;
    gAtSync = std::move(action);
  }

  void ExpectNothingMoved() {
    EXPECT_EQ(before_, FilesBelow(from_ / "package"));
    EXPECT_EQ(std::vector<std::string>{"package"}, NamesIn(from_.path()));
    EXPECT_TRUE(NamesIn(to_.path()).empty());
  }

  // Opens the file for writing, like another program. Fails the test instead of waiting for the end
  // of a lease: the move holds one only in its last step.
  UniqueFd OpenForWriting(const std::string& name) {
    UniqueFd file(open((from_ / name).c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC));
    EXPECT_TRUE(file);
    return file;
  }

  TemporaryFolder disk_;
  TemporaryFolder memory_{"/dev/shm"};
  TemporaryFolder& from_;
  TemporaryFolder& to_;
  std::vector<std::string> before_;
};

INSTANTIATE_TEST_SUITE_P(Both, MoveAcrossTest, testing::Bool(), [](const auto& row) {
  return std::string(row.param ? "ToMemory" : "FromMemory");
});

TEST_P(MoveAcrossTest, RefusesFileOpenForWriting) {
  WriteFile(from_ / "file", "begun");
  {
    const UniqueFd writer = OpenForWriting("file");
    EXPECT_EQ(fBsyErr, Move("file"));
    EXPECT_EQ(5, write(writer.get(), ", and", 5));
  }
  EXPECT_EQ("begun, and", ReadFile(from_ / "file"));
  EXPECT_TRUE(NamesIn(to_.path()).empty());
  EXPECT_EQ(noErr, Move("file"));
  EXPECT_EQ("begun, and", ReadFile(to_ / "file"));
}

TEST_P(MoveAcrossTest, KeepsFileOpenedForWriting) {
  WriteFile(from_ / "file", "begun");
  // Open before the move, which checks that the number of open descriptors stays the same.
  const UniqueFd writer(open("/dev/null", O_WRONLY | O_CLOEXEC));
  WhileMoving("file", [this, &writer] {
    const UniqueFd file = OpenForWriting("file");
    EXPECT_EQ(writer.get(), dup3(file.get(), writer.get(), O_CLOEXEC));
  });
  EXPECT_EQ(fBsyErr, Move("file"));
  EXPECT_EQ(5, write(writer.get(), ", and", 5));
  EXPECT_EQ("begun, and", ReadFile(from_ / "file"));
  EXPECT_EQ(std::vector<std::string>{"file"}, NamesIn(from_.path()));
  EXPECT_TRUE(NamesIn(to_.path()).empty());
}

TEST_P(MoveAcrossTest, MovesFileOpenForReading) {
  WriteFile(from_ / "file", "only copy");
  const UniqueFd reader(open((from_ / "file").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(noErr, Move("file"));
  EXPECT_EQ("only copy", ReadFile(to_ / "file"));
}

TEST_P(MoveAcrossTest, KeepsCommentAndCreationDate) {
  WriteFile(from_ / "file", "only copy");
  const bool hasAttributes =
      SetAttribute(from_ / "file", kCommentName, "mine") && SetAttribute(to_.path(), "user.x", "");
  ASSERT_EQ(0, chmod((from_ / "file").c_str(), 0640));
  ASSERT_EQ(noErr, Move("file"));
  EXPECT_EQ("only copy", ReadFile(to_ / "file"));
  EXPECT_EQ(0640U, LstatAt(to_ / "file").st_mode & 07777);
  EXPECT_TRUE(NamesIn(from_.path()).empty());
  if (!hasAttributes) GTEST_SKIP() << "the filesystem has no attributes";
  EXPECT_EQ("mine", AttributeAt(to_ / "file", kCommentName));
  EXPECT_NE("(none)", AttributeAt(to_ / "file", kCreationDateAttribute));
}

TEST_P(MoveAcrossTest, MovesPackage) {
  MakePackage();
  SetAttribute(from_ / "package", kCommentName, "mine");
  const std::string comment = AttributeAt(from_ / "package", kCommentName);
  ASSERT_EQ(noErr, Move("package"));
  EXPECT_EQ(before_, FilesBelow(to_ / "package"));
  EXPECT_EQ(2U, LstatAt(to_ / "package/hard").st_nlink);
  EXPECT_EQ(comment, AttributeAt(to_ / "package", kCommentName));
  EXPECT_TRUE(NamesIn(from_.path()).empty());
  EXPECT_EQ(std::vector<std::string>{"package"}, NamesIn(to_.path()));
}

TEST_P(MoveAcrossTest, MovesLink) {
  MakeLink("no\xffwhere", from_ / "link");
  ASSERT_EQ(noErr, Move("link"));
  EXPECT_TRUE(S_ISLNK(LstatAt(to_ / "link").st_mode));
  EXPECT_TRUE(NamesIn(from_.path()).empty());
  EXPECT_EQ(std::vector<std::string>{"link"}, NamesIn(to_.path()));
}

TEST_P(MoveAcrossTest, KeepsExistingObjects) {
  MakePackage();
  WriteFile(from_ / "file", "new");
  for (const char* name : {"package", "file"}) {
    WriteFile(to_ / name, "old");
    EXPECT_EQ(dupFNErr, Move(name));
    EXPECT_EQ("old", ReadFile(to_ / name));
  }
  EXPECT_EQ("new", ReadFile(from_ / "file"));
  EXPECT_EQ(before_, FilesBelow(from_ / "package"));
}

TEST_P(MoveAcrossTest, RefusesSpecialFiles) {
  MakePackage();
  ASSERT_EQ(0, mkfifo((from_ / "fifo").c_str(), 0600));
  EXPECT_EQ(paramErr, Move("fifo"));
  ASSERT_EQ(0, rename((from_ / "fifo").c_str(), (from_ / "package/fifo").c_str()));
  before_ = FilesBelow(from_ / "package");
  EXPECT_EQ(paramErr, Move("package"));
  ExpectNothingMoved();
}

TEST_P(MoveAcrossTest, RefusesUndeletablePackage) {
  MakePackage();
  std::filesystem::permissions(from_.path(), std::filesystem::perms(0555));
  std::filesystem::permissions(to_.path(), std::filesystem::perms(0777));
  EXPECT_TRUE(RunAsOrdinaryUser([&] { EXPECT_EQ(afpAccessDenied, Move("package")); }));
  ExpectNothingMoved();
  // The same one level deeper.
  std::filesystem::permissions(from_.path(), std::filesystem::perms(0777));
  std::filesystem::permissions(from_ / "package/Contents", std::filesystem::perms(0555));
  EXPECT_TRUE(RunAsOrdinaryUser([&] { EXPECT_EQ(afpAccessDenied, Move("package")); }));
  ExpectNothingMoved();
}

TEST_P(MoveAcrossTest, RefusesOthersFileInStickyFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "needs another user's file";
  MakePackage();
  WriteFile(from_ / "file", "x");
  std::filesystem::permissions(from_.path(), std::filesystem::perms(01777));
  std::filesystem::permissions(to_.path(), std::filesystem::perms(0777));
  EXPECT_TRUE(RunAsOrdinaryUser([&] { EXPECT_EQ(afpAccessDenied, Move("file")); }));
  EXPECT_TRUE(NamesIn(to_.path()).empty());
  EXPECT_EQ("x", ReadFile(from_ / "file"));
}

TEST_P(MoveAcrossTest, RefusesImmutableFile) {
  MakePackage();
  const UniqueFd file(open((from_ / "package/Contents/file").c_str(), O_RDONLY | O_CLOEXEC));
  int flags = FS_IMMUTABLE_FL;
  if (ioctl(file.get(), FS_IOC_SETFLAGS, &flags) != 0) GTEST_SKIP() << "cannot make immutable here";
  EXPECT_EQ(afpAccessDenied, Move("package"));
  flags = 0;
  ASSERT_EQ(0, ioctl(file.get(), FS_IOC_SETFLAGS, &flags));
  ExpectNothingMoved();
}

TEST_P(MoveAcrossTest, RefusesReadOnlySource) {
  MakePackage();
  if (mount(from_.path().c_str(), from_.path().c_str(), nullptr, MS_BIND, nullptr) != 0) {
    GTEST_SKIP() << "cannot mount here";
  }
  EXPECT_EQ(
      0, mount(nullptr, from_.path().c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
  EXPECT_EQ(wPrErr, Move("package"));
  EXPECT_EQ(0, umount(from_.path().c_str()));
  ExpectNothingMoved();
}

// After a failure late in the move, the source must be where it was.
TEST_P(MoveAcrossTest, RollsBackPackageOnLateFailure) {
  MakePackage();
  const InjectedError rows[] = {
      {SYS_fsync, EIO, 0, 0},
      // Nothing of the package can be deleted.
      {SYS_unlinkat, EACCES, 0, 0},
  };
  for (const InjectedError& row : rows) {
    EXPECT_TRUE(RunWithInjectedErrors({row}, [&] { EXPECT_NE(noErr, Move("package")); }))
        << row.number;
    EXPECT_EQ(before_, FilesBelow(from_ / "package"));
    EXPECT_EQ(std::vector<std::string>{"package"}, NamesIn(from_.path()));
    EXPECT_FALSE(Exists(to_ / "package"));
    for (const std::string& name : NamesIn(to_.path())) {
      // If nothing can be unlinked, the hidden copy stays for a cleanup.
      EXPECT_EQ(SYS_unlinkat, row.number);
      EXPECT_TRUE(name.starts_with(".tessary-")) << name;
    }
  }
}

TEST_P(MoveAcrossTest, RollsBackCopyThatIsNotDurable) {
  WriteFile(from_ / "file", "only copy");
  MakeLink("x", from_ / "link");
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_fsync, EIO, 0, 0}}, [&] {
    EXPECT_EQ(ioErr, Move("file"));
    EXPECT_EQ(ioErr, Move("link"));
  }));
  // A filesystem that cannot sync a folder has to sync everything.
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_fsync, EINVAL, 0, 0}, {SYS_syncfs, EIO, 0, 0}},
                                    [&] { EXPECT_EQ(ioErr, Move("link")); }));
  EXPECT_EQ("only copy", ReadFile(from_ / "file"));
  EXPECT_TRUE(Exists(from_ / "link"));
  EXPECT_TRUE(NamesIn(to_.path()).empty());
}

TEST_P(MoveAcrossTest, LogsDroppedAttributes) {
  WriteFile(from_ / "two\nlines", "x");
  WriteFile(from_ / "plain", "x");
  if (!SetAttribute(from_ / "two\nlines", "user.mine", "y")) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_fsetxattr, ENOTSUP, 0, 0}}, [&] {
    const CapturedLog log;
    EXPECT_EQ(noErr, Move("two\nlines"));
    EXPECT_EQ(noErr, Move("plain"));
    EXPECT_EQ(
        std::vector<std::string>{
            "Attributes of \"two\\nlines\" were dropped: the destination cannot store them"},
        log.Messages());
  }));
  EXPECT_EQ("x", ReadFile(to_ / "two\nlines"));
}

// The source changes while it is copied: no version of it may be lost.
TEST_P(MoveAcrossTest, KeepsPackageThatIsWrittenTo) {
  WriteFile(from_ / "package/log", "start\n");
  const pid_t writer = fork();
  if (writer == 0) {
    const UniqueFd log(open((from_ / "package/log").c_str(), O_WRONLY | O_APPEND));
    for (int i = 0; i < 2'000'000 && write(log.get(), "x", 1) == 1; ++i) {
    }
    _exit(0);
  }
  while (LstatAt(from_ / "package/log").st_size < 100) usleep(100);
  const Status status = Move("package");
  EXPECT_EQ(0, kill(writer, SIGKILL));
  EXPECT_EQ(writer, waitpid(writer, nullptr, 0));
  // noErr: the writer was not scheduled during the move, and changed nothing.
  EXPECT_TRUE(status == fBsyErr || status == noErr) << status;
  EXPECT_EQ(status != noErr, Exists(from_ / "package/log"));
  EXPECT_EQ(status == noErr, Exists(to_ / "package/log"));
}

TEST_P(MoveAcrossTest, KeepsPackageChangedAfterCopy) {
  const struct {
    const char* what;
    std::function<void(const std::string&)> change;
  } rows[] = {
      {"written to", [](const std::string& top) { WriteFile(top + "/file", "new version"); }},
      {"same size", [](const std::string& top) { WriteFile(top + "/file", "changed  "); }},
      {"mode", [](const std::string& top) { chmod((top + "/file").c_str(), 0600); }},
      {"attribute", [](const std::string& top) { chmod((top + "/a").c_str(), 0711); }},
      {"added", [](const std::string& top) { WriteFile(top + "/a/b/added", "x"); }},
      {"removed", [](const std::string& top) { unlink((top + "/a/b/inner").c_str()); }},
      {"replaced",
       [](const std::string& top) {
         WriteFile(top + "/other", "only copy");
         rename((top + "/other").c_str(), (top + "/file").c_str());
       }},
      {"inner replaced",
       [](const std::string& top) {
         rename((top + "/a/b").c_str(), (top + "/a/c").c_str());
         WriteFile(top + "/a/b/inner", "x");
       }},
  };
  for (const auto& row : rows) {
    WriteFile(from_ / "package/file", "only copy");
    WriteFile(from_ / "package/a/b/inner", "x");
    usleep(20'000);  // longer than the granularity of the kernel's file times
    WhileMoving("package", [&] { row.change(from_ / "package"); });
    EXPECT_EQ(fBsyErr, Move("package")) << row.what;
    EXPECT_FALSE(gAtSync) << row.what;
    EXPECT_TRUE(Exists(from_ / "package/file")) << row.what;
    EXPECT_TRUE(NamesIn(to_.path()).empty()) << row.what;
    std::filesystem::remove_all(from_ / "package");
  }
}

TEST_P(MoveAcrossTest, KeepsFileChangedAfterCopy) {
  WriteFile(from_ / "file", "old version");
  WhileMoving("file", [&] { WriteFile(from_ / "file", "new, longer version"); });
  EXPECT_EQ(fBsyErr, Move("file"));
  EXPECT_EQ("new, longer version", ReadFile(from_ / "file"));
  EXPECT_TRUE(NamesIn(to_.path()).empty());

  WriteFile(from_ / "other", "another");
  WhileMoving("file", [&] { rename((from_ / "other").c_str(), (from_ / "file").c_str()); });
  EXPECT_EQ(fBsyErr, Move("file"));
  EXPECT_EQ("another", ReadFile(from_ / "file"));
  EXPECT_TRUE(NamesIn(to_.path()).empty());
}

TEST_P(MoveAcrossTest, KeepsCopyOfDeletedSource) {
  WriteFile(from_ / "file", "only copy");
  WhileMoving("file", [&] { unlink((from_ / "file").c_str()); });
  const CapturedLog log;
  const uint64_t before = CountKeptCopies();
  EXPECT_EQ(noErr, Move("file"));
  EXPECT_EQ("only copy", ReadFile(to_ / "file"));
  EXPECT_EQ(before + 1, CountKeptCopies());
  EXPECT_EQ(
      std::vector<std::string>{"\"file\" was moved or deleted by another program while it was "
                               "copied; the copy stays"},
      log.Messages());
}

// As in a lower layer of an overlay, where no folder can be renamed.
TEST_P(MoveAcrossTest, DeletesPackageInPlace) {
  MakePackage();
  RunWithPausedCalls({{SYS_renameat2, "package", 1, {}, EXDEV}}, [this] {
    EXPECT_EQ(noErr, Move("package"));
    EXPECT_TRUE(NamesIn(from_.path()).empty());
    EXPECT_EQ(before_, FilesBelow(to_ / "package"));
  });
}

TEST_P(MoveAcrossTest, DeletionInPlaceKeepsNewFile) {
  MakePackage();
  const auto addFile = [this] { WriteFile(from_ / "package/Contents/new", "only copy"); };
  RunWithPausedCalls({{SYS_renameat2, "package", 1, addFile, EXDEV}}, [this] {
    EXPECT_EQ(fBsyErr, Move("package"));
    EXPECT_EQ("only copy", ReadFile(from_ / "package/Contents/new"));
    EXPECT_TRUE(Exists(from_ / "package/hard"));
    EXPECT_TRUE(NamesIn(to_.path()).empty());
  });
}

TEST_P(MoveAcrossTest, DeletionInPlaceKeepsChangedFile) {
  MakePackage();
  const auto change = [this] { WriteFile(from_ / "package/Contents/file", "changed"); };
  RunWithPausedCalls({{SYS_renameat2, "package", 1, change, EXDEV}}, [this] {
    const CapturedLog log;
    EXPECT_EQ(noErr, Move("package")) << "another file has been deleted already";
    EXPECT_EQ("changed", ReadFile(from_ / "package/Contents/file"));
    EXPECT_EQ(before_, FilesBelow(to_ / "package"));
    EXPECT_EQ(
        std::vector<std::string>{
            "\"package\" was moved, but its original could not be deleted completely"},
        log.Messages());
  });
}

// Two processes that move the same source do not know of each other.
TEST_P(MoveAcrossTest, SecondMoveOfSourceIsCounted) {
  MakePackage();
  WriteFile(from_ / "file", "x");
  for (const std::string name : {"file", "package"}) {
    WhileMoving(name, [&] {
      EXPECT_EQ(noErr, MoveAcrossAt(from_ / name, to_ / (name + " of the other")));
    });
    const uint64_t before = CountKeptCopies();
    EXPECT_EQ(noErr, Move(name));
    EXPECT_EQ(before + 1, CountKeptCopies()) << name;
  }
  EXPECT_TRUE(NamesIn(from_.path()).empty());
  EXPECT_EQ(
      (std::vector<std::string>{"file", "file of the other", "package", "package of the other"}),
      NamesIn(to_.path()));
}

TEST_P(MoveAcrossTest, KeepsSourceOfDeletedCopy) {
  WriteFile(from_ / "file", "only copy");
  WhileMoving("file", [&] { unlink((to_ / "file").c_str()); });
  EXPECT_EQ(fnfErr, Move("file"));
  EXPECT_EQ("only copy", ReadFile(from_ / "file"));
}

TEST_P(MoveAcrossTest, RollbackKeepsOthersFile) {
  WriteFile(from_ / "file", "only copy");
  WhileMoving("file", [&] {
    WriteFile(from_ / "file", "changed meanwhile");
    rename((to_ / "file").c_str(), (to_ / "elsewhere").c_str());
    WriteFile(to_ / "file", "other file");
  });
  EXPECT_EQ(fBsyErr, Move("file"));
  EXPECT_EQ("changed meanwhile", ReadFile(from_ / "file"));
  EXPECT_EQ("other file", ReadFile(to_ / "file"));
}

// Moves in a child process that is killed after different delays: the package is always complete in
// at least one place, and never incomplete under its name.
TEST_P(MoveAcrossTest, KilledMoveLosesNothing) {
  for (int i = 0; i < 40; ++i) {
    WriteFile(disk_ / ("kept/" + std::to_string(i % 5) + "/" + std::to_string(i)),
              std::string(20'000, 'x'));
  }
  const std::vector<std::string> complete = FilesBelow(disk_ / "kept");
  for (useconds_t delay = 500; delay < 30'000; delay += delay / 3) {
    std::filesystem::copy(disk_ / "kept", from_ / "package",
                          std::filesystem::copy_options::recursive);
    const pid_t child = fork();
    if (child == 0) _exit(Move("package") == noErr ? 0 : 1);
    usleep(delay);
    kill(child, SIGKILL);
    ASSERT_EQ(child, waitpid(child, nullptr, 0));

    int found = 0;
    for (const TemporaryFolder* side : {&from_, &to_}) {
      if (!Exists(*side / "package")) continue;
      ++found;
      ASSERT_EQ(complete, FilesBelow(*side / "package")) << delay;
    }
    ASSERT_GE(found, 1) << delay;
    std::filesystem::remove_all(from_ / "package");
    std::filesystem::remove_all(to_ / "package");
  }
  for (const TemporaryFolder* side : {&from_, &to_}) {
    RecoverFolder(side->path());
    for (const std::string& name : NamesIn(side->path())) {
      EXPECT_FALSE(name.starts_with(".tessary-")) << name;
    }
  }
}

// Returns the number of fsync calls of a move of a file to such a filesystem; 0 if there is none
// here.
int SyncsOfMoveTo(VolumeKind kind) {
  const TemporaryFolder from;
  const ScratchVolume to(kind);
  if (!to.IsAvailable()) {
    std::printf("%s\n", to.UnavailableReason().c_str());
    return 0;
  }
  WriteFile(from / "file", "x");
  gSyncs = 0;
  EXPECT_EQ(noErr, MoveAcrossAt(from / "file", to / "file"));
  EXPECT_EQ("x", ReadFile(to / "file"));
  return gSyncs;
}

TEST(MoveItemAcrossFilesystems, SyncsFolderUnlessFileSyncCoversIt) {
  const std::vector<std::pair<VolumeKind, int>> rows = {{VolumeKind::kTmpfs, 2},
                                                        {VolumeKind::kExt4, 1},
                                                        {VolumeKind::kXfs, 1},
                                                        {VolumeKind::kBtrfs, 1}};
  for (const auto& [kind, expected] : rows) {
    const int syncs = SyncsOfMoveTo(kind);
    if (syncs == 0) continue;
    EXPECT_EQ(expected, syncs) << NameOf(kind);
  }
}

// One sync for the contents of the copy, one for its name, and one for the temporary name of the
// source before it is deleted.
TEST(MoveItemAcrossFilesystems, SyncsFilesystemOnBtrfs) {
  const ScratchVolume from(VolumeKind::kBtrfs);
  const ScratchVolume to(VolumeKind::kBtrfs);
  if (!from.IsAvailable() || !to.IsAvailable()) {
    GTEST_SKIP() << from.UnavailableReason() << to.UnavailableReason();
  }
  WriteFile(from / "a.app/Contents/file", "x");
  gVolumeSyncs = 0;
  EXPECT_EQ(noErr, MoveAcrossAt(from / "a.app", to / "a.app"));
  EXPECT_EQ(3, gVolumeSyncs);
  EXPECT_EQ("x", ReadFile(to / "a.app/Contents/file"));
}

}  // namespace
}  // namespace tessary::test
