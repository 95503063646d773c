#include "platform/linux/changes/copy_item.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/changes/move_across_filesystems.h"
#include "platform/linux/changes/object_info.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/fault_injection/supervised_calls.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

constexpr uint32_t kTmpfileFlag = O_TMPFILE & ~O_DIRECTORY;

bool IsSameTime(const timespec& first, const timespec& second) {
  return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
}

// A copy within a filesystem or to another one, with injected errors that take kernel features
// away.
struct Method {
  const char* name;
  bool toOtherFilesystem;
  std::vector<InjectedError> injected;
};

const std::vector<Method>& Methods() {
  static const std::vector<Method> gMethods = {
      {"SameFilesystem", false, {}},
      {"OtherFilesystem", true, {}},
      {"NoTmpfile", false, {{SYS_openat, EOPNOTSUPP, 2, kTmpfileFlag}}},
      {"NoHardLinks", false, {{SYS_linkat, EPERM, 0, 0}}},
      {"NoLinksOrNoReplace", false, {{SYS_linkat, EPERM, 0, 0}, {SYS_renameat2, EINVAL, 4, ~0U}}},
      {"NoKernelCopy", true, {{SYS_copy_file_range, EXDEV, 0, 0}, {SYS_ioctl, EOPNOTSUPP, 0, 0}}},
      // The bit is set in SEEK_DATA, but not in SEEK_END, which the copy needs.
      {"NoSeekData", false, {{SYS_lseek, EINVAL, 2, 1}, {SYS_ioctl, EOPNOTSUPP, 0, 0}}},
      {"NoFileLocks", false, {{SYS_flock, ENOLCK, 0, 0}, {SYS_linkat, EPERM, 0, 0}}},
  };
  return gMethods;
}

class CopyItemTest : public testing::TestWithParam<Method> {
 protected:
  CopyItemTest() : to_(GetParam().toOtherFilesystem ? memory_ : same_) {}

  void SetUp() override {
    if (GetParam().toOtherFilesystem && !AreOnDifferentVolumes(from_.path(), memory_.path())) {
      GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
    }
  }

  // Copies with the injected errors and expects the status.
  void Copy(Status expected, const std::string& from, const std::string& to) {
    const auto body = [&] { EXPECT_EQ(expected, CopyAt(from_ / from, to_ / to)); };
    if (GetParam().injected.empty()) return body();
    EXPECT_TRUE(RunWithInjectedErrors(GetParam().injected, body));
  }

  TemporaryFolder from_;
  TemporaryFolder same_;
  TemporaryFolder memory_{"/dev/shm"};
  TemporaryFolder& to_;
};

INSTANTIATE_TEST_SUITE_P(Methods, CopyItemTest, testing::ValuesIn(Methods()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(CopyItemTest, KeepsContents) {
  for (const size_t size : {0U, 1U, 4096U, 262144U, 262145U, 3000001U}) {
    std::string contents(size, '\0');
    for (size_t i = 0; i < size; ++i) contents[i] = static_cast<char>(i * 7 + i / 256);
    const std::string name = std::to_string(size);
    WriteFile(from_ / name, contents);
    Copy(noErr, name, name);
    EXPECT_TRUE(contents == ReadFile(to_ / name)) << size;
    EXPECT_TRUE(contents == ReadFile(from_ / name)) << size;
    EXPECT_EQ(1U, LstatAt(to_ / name).st_nlink);
  }
  EXPECT_EQ(6U, NamesIn(to_.path()).size());
}

TEST_P(CopyItemTest, KeepsHoles) {
  constexpr off_t kSize = 8 << 20;
  MakeSparseFile(from_ / "start", "text", kSize);
  MakeSparseFile(from_ / "hole", "", kSize);
  MakeSparseFile(from_ / "middle", "", kSize);
  const UniqueFd middle(open((from_ / "middle").c_str(), O_WRONLY));
  ASSERT_EQ(4, pwrite(middle.get(), "text", 4, kSize / 2 + 5));
  for (const std::string name : {"start", "hole", "middle"}) {
    Copy(noErr, name, name);
    EXPECT_EQ(kSize, LstatAt(to_ / name).st_size);
    EXPECT_LT(LstatAt(to_ / name).st_blocks * 512, 1 << 20);
    EXPECT_TRUE(ReadFile(from_ / name) == ReadFile(to_ / name)) << name;
  }
}

TEST_P(CopyItemTest, KeepsModeAndTimes) {
  for (const mode_t mode : {0644U, 0400U, 0755U, 0777U, 0111U | 0400U}) {
    const std::string name = std::to_string(mode);
    WriteFile(from_ / name, "x");
    ASSERT_EQ(0, chmod((from_ / name).c_str(), mode));
    const std::array<timespec, 2> times = {timespec{1'000'000'001, 123'456'789},
                                           timespec{-5, 987'654'321}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, (from_ / name).c_str(), times.data(), 0));
    Copy(noErr, name, name);
    EXPECT_EQ(mode, LstatAt(to_ / name).st_mode & 07777);
    EXPECT_TRUE(IsSameTime(times[0], LstatAt(to_ / name).st_atim));
    EXPECT_TRUE(IsSameTime(times[1], LstatAt(to_ / name).st_mtim));
  }
}

TEST_P(CopyItemTest, OmitsOnlyComment) {
  WriteFile(from_ / "file", "x");
  if (!SetAttribute(from_ / "file", kCommentAttribute, "mine") ||
      !SetAttribute(to_.path(), "user.x", "")) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  ASSERT_TRUE(SetAttribute(from_ / "file", "user.long", std::string(2000, 'v')));
  ASSERT_TRUE(SetAttribute(from_ / "file", "user.empty", ""));
  Copy(noErr, "file", "file");
  EXPECT_EQ("(none)", AttributeAt(to_ / "file", kCommentAttribute));
  EXPECT_EQ(std::string(2000, 'v'), AttributeAt(to_ / "file", "user.long"));
  EXPECT_EQ("", AttributeAt(to_ / "file", "user.empty"));
  EXPECT_EQ("mine", AttributeAt(from_ / "file", kCommentAttribute));
}

TEST_P(CopyItemTest, StoresCreationDate) {
  WriteFile(from_ / "born", "x");
  WriteFile(from_ / "carried", "x");
  constexpr char kDate[] = "2009-03-04T05:06:07.000000089Z";
  if (!SetAttribute(from_ / "carried", kCreationDateAttribute, kDate) ||
      !SetAttribute(to_.path(), "user.x", "")) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  struct statx info = {};
  ASSERT_EQ(noErr, ReadObjectInfo(AT_FDCWD, (from_ / "born").c_str(), &info));
  Copy(noErr, "carried", "carried");
  EXPECT_EQ(kDate, AttributeAt(to_ / "carried", kCreationDateAttribute));
  Copy(noErr, "born", "born");
  const std::string born =
      (info.stx_mask & STATX_BTIME) == 0
          ? "(none)"
          : FormatCreationDate({info.stx_btime.tv_sec, info.stx_btime.tv_nsec});
  EXPECT_EQ(born, AttributeAt(to_ / "born", kCreationDateAttribute));
  EXPECT_EQ("(none)", AttributeAt(from_ / "born", kCreationDateAttribute));
}

TEST_P(CopyItemTest, KeepsLinks) {
  MakeLink("no\xffwhere\n", from_ / "dangling");
  WriteFile(from_ / "file", "x");
  MakeLink("file", from_ / "link");
  const std::array<timespec, 2> times = {timespec{5, 6}, timespec{7, 8}};
  for (const std::string name : {"dangling", "link"}) {
    ASSERT_EQ(0, utimensat(AT_FDCWD, (from_ / name).c_str(), times.data(), AT_SYMLINK_NOFOLLOW));
    Copy(noErr, name, name);
    EXPECT_TRUE(S_ISLNK(LstatAt(to_ / name).st_mode));
    EXPECT_TRUE(IsSameTime(times[1], LstatAt(to_ / name).st_mtim));
    std::array<char, 100> text = {};
    ASSERT_GT(readlink((to_ / name).c_str(), text.data(), text.size()), 0);
    EXPECT_STREQ(name == "link" ? "file" : "no\xffwhere\n", text.data());
  }
  EXPECT_EQ((std::vector<std::string>{"dangling", "link"}), NamesIn(to_.path()));
}

TEST_P(CopyItemTest, KeepsExistingObjects) {
  WriteFile(to_ / "file", "old");
  MakeFolder(to_ / "folder");
  MakeLink("file", to_ / "link");
  MakeLink("nowhere", to_ / "dangling");
  WriteFile(from_ / "new", "new");
  MakeLink("new", from_ / "new link");
  WriteFile(from_ / "new folder/file", "new");
  for (const std::string source : {"new", "new link", "new folder"}) {
    for (const std::string name : {"file", "folder", "link", "dangling"}) {
      Copy(dupFNErr, source, name);
    }
  }
  EXPECT_EQ("old", ReadFile(to_ / "file"));
  EXPECT_EQ((std::vector<std::string>{"dangling", "file", "folder", "link"}), NamesIn(to_.path()));
  EXPECT_TRUE(NamesIn(to_ / "folder").empty());
}

TEST_P(CopyItemTest, AcceptsEveryValidName) {
  for (const std::string& name :
       {std::string("caf\xe9"), std::string("two\nlines"), std::string(255, 'x'),
        std::string(".hidden"), std::string("a.b.c")}) {
    WriteFile(from_ / name, name);
    Copy(noErr, name, name);
    EXPECT_EQ(name, ReadFile(to_ / name));
  }
  Copy(bdNamErr, "a.b.c", std::string(256, 'x'));
}

TEST_P(CopyItemTest, RefusesSpecialFiles) {
  ASSERT_EQ(0, mkfifo((from_ / "fifo").c_str(), 0600));
  Copy(paramErr, "fifo", "fifo");
  EXPECT_EQ(paramErr, CopyAt("/dev/null", to_ / "null"));
  EXPECT_TRUE(NamesIn(to_.path()).empty());
}

TEST(CopyItem, SkipsLinkTimesIfLinksAreFollowed) {
  const TemporaryFolder folder;
  MakeLink("nowhere", folder / "link");
  SetModificationDate(folder / "link", 1236164645);
  MakeFolder(folder / "to");
  // The error of a filesystem that follows the link.
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_utimensat, ENOENT, 0, 0}}, [&] {
    EXPECT_EQ(noErr, CopyAt(folder / "link", folder / "to/link"));
  }));
  EXPECT_TRUE(S_ISLNK(LstatAt(folder / "to/link").st_mode));
  EXPECT_NE(1236164645, LstatAt(folder / "to/link").st_mtim.tv_sec);
  EXPECT_EQ(std::vector<std::string>{"link"}, NamesIn(folder / "to"));
}

// Another machine truncates the file. The mount still shows the old size, with zeros up to it.
TEST(CopyItem, CopiesFileThatServerTruncates) {
  const ScratchVolume remote(VolumeKind::kSshfs);
  if (!remote.IsAvailable()) GTEST_SKIP() << remote.UnavailableReason();
  const TemporaryFolder to;
  WriteFile(remote / "file", std::string(100'000, 'x'));
  const auto truncate = [&remote] { WriteFile(remote.BackingPath() + "/file", "new"); };
  RunWithPausedCalls({{SYS_pread64, "", 1, truncate}}, [&] {
    EXPECT_EQ(noErr, CopyAt(remote / "file", to / "copy"));
    EXPECT_EQ(3, LstatAt(to / "copy").st_size);
    EXPECT_EQ("new", ReadFile(to / "copy").substr(0, 3));
  });
}

// The attributes in the kernel's cache show no change.
TEST(CopyItem, CopiesFileThatServerReplaces) {
  const ScratchVolume remote(VolumeKind::kBindfs, "attr_timeout=1000,entry_timeout=1000");
  if (!remote.IsAvailable()) GTEST_SKIP() << remote.UnavailableReason();
  const TemporaryFolder to;
  WriteFile(remote / "file", "old");
  const auto change = [&remote] { WriteFile(remote.BackingPath() + "/file", "new and longer"); };
  RunWithPausedCalls({{SYS_utimensat, "", 1, change}}, [&] {
    EXPECT_EQ(noErr, CopyAt(remote / "file", to / "copy"));
    EXPECT_EQ("new and longer", ReadFile(to / "copy"));
  });
}

// Some filesystems report only at close(2) that data could not be written.
TEST(CopyItem, ReportsErrorOfClose) {
  const ScratchVolume volume(VolumeKind::kBindfs);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  const TemporaryFolder from;
  WriteFile(from / "file", "contents");
  const SupervisedResult result = RunSupervised(
      {SYS_close}, [](const SupervisedCall&) { return ENOSPC; },
      [&] { return CopyAt(from / "file", volume / "copy") == dskFulErr ? 0 : 1; },
      [](int status) { return status; }, 60);
  if (!result.isSupervised) GTEST_SKIP() << "the kernel does not support seccomp notifications";
  EXPECT_EQ(0, result.exitStatus) << result.output;
  EXPECT_TRUE(NamesIn(volume.path()).empty());
}

// Returns whether the first block of the file is also one of another file.
bool SharesBlocks(const std::string& path) {
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  alignas(fiemap) std::array<char, sizeof(fiemap) + sizeof(fiemap_extent)> buffer = {};
  auto* map = reinterpret_cast<fiemap*>(buffer.data());
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_flags = FIEMAP_FLAG_SYNC;
  map->fm_extent_count = 1;
  EXPECT_EQ(0, ioctl(file.get(), FS_IOC_FIEMAP, map)) << path;
  return map->fm_mapped_extents == 1 && (map->fm_extents[0].fe_flags & FIEMAP_EXTENT_SHARED) != 0;
}

TEST(CopyItem, SharesBlocksWithReflink) {
  const ScratchVolume volume(VolumeKind::kBtrfs);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  WriteFile(volume / "file", std::string(size_t{1} << 14, 'x'));
  EXPECT_FALSE(SharesBlocks(volume / "file"));
  ASSERT_EQ(noErr, CopyAt(volume / "file", volume / "copy"));
  EXPECT_TRUE(SharesBlocks(volume / "copy"));
}

TEST(CopyItem, RefusesOtherIdentity) {
  const TemporaryFolder folder;
  WriteFile(folder / "expected", "x");
  WriteFile(folder / "file", "y");
  MakeFolder(folder / "folder");
  MakeLink("file", folder / "link");
  ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
  const UniqueFd fd = OpenFolder(folder.path());
  const Identity expected = IdentityAt(fd.get(), "expected");
  const CopyTarget target = {fd.get(), "copy", IdentityAt(fd.get(), "")};
  for (const std::string name : {"file", "folder", "link", "fifo", "gone"}) {
    EXPECT_EQ(fnfErr, CopyItem({fd.get(), name, expected}, target));
    EXPECT_EQ(fnfErr, MoveItemAcrossFilesystems({fd.get(), name, expected}, target));
  }
  EXPECT_FALSE(Exists(folder / "copy"));
}

TEST(CopyItem, RefusesInvalidNames) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  MakeFolder(folder / "sub");
  const UniqueFd fd = OpenFolder(folder.path());
  const CopySource source = {fd.get(), "file", IdentityAt(fd.get(), "file")};
  const Identity target = IdentityAt(fd.get(), "");
  for (const std::string& name : {std::string(), std::string("."), std::string(".."),
                                  std::string("sub/file"), std::string("a\0b", 3)}) {
    EXPECT_EQ(bdNamErr, CopyItem(source, {fd.get(), name, target}));
  }
  EXPECT_EQ((std::vector<std::string>{"file", "sub"}), NamesIn(folder.path()));
}

TEST(CopyItem, CopiesKernelFileOfSizeZero) {
  const TemporaryFolder folder;
  ASSERT_EQ(0, LstatAt("/proc/self/mountinfo").st_size);
  ASSERT_EQ(noErr, CopyAt("/proc/version", folder / "version"));
  EXPECT_EQ(ReadFile("/proc/version"), ReadFile(folder / "version"));
  EXPECT_FALSE(ReadFile(folder / "version").empty());
}

TEST(CopyItem, LeavesNothingOfUnreadableFile) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  WriteFile(folder / "package/file", "x");
  ASSERT_EQ(0, chmod(folder.path().c_str(), 0777));
  ASSERT_EQ(0, chmod((folder / "file").c_str(), 0));
  ASSERT_EQ(0, chmod((folder / "package").c_str(), 0755));
  ASSERT_EQ(0, chmod((folder / "package/file").c_str(), 0));
  EXPECT_TRUE(RunAsOrdinaryUser([&] {
    EXPECT_EQ(afpAccessDenied, CopyAt(folder / "file", folder / "copy"));
    EXPECT_EQ(afpAccessDenied, CopyAt(folder / "package", folder / "copy"));
  }));
  EXPECT_EQ((std::vector<std::string>{"file", "package"}), NamesIn(folder.path()));
}

TEST(CopyItem, LeavesNothingOnFullFilesystem) {
  const TemporaryFolder folder;
  const MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  WriteFile(folder / "file", std::string(100'000, 'x'));
  WriteFile(folder / "package/small", "x");
  WriteFile(folder / "package/big", std::string(100'000, 'x'));
  EXPECT_EQ(dskFulErr, CopyAt(folder / "file", volume / "copy"));
  EXPECT_EQ(dskFulErr, CopyAt(folder / "package", volume / "copy"));
  EXPECT_EQ(dskFulErr, MoveAcrossAt(folder / "file", volume / "copy"));
  EXPECT_EQ(dskFulErr, MoveAcrossAt(folder / "package", volume / "copy"));
  EXPECT_TRUE(NamesIn(volume.path()).empty());
  EXPECT_EQ((std::vector<std::string>{"big", "small"}), NamesIn(folder / "package"));
}

TEST(CopyItem, RefusesReadOnlyFilesystem) {
  const TemporaryFolder folder;
  MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  volume.MakeReadOnly();
  WriteFile(folder / "file", "x");
  EXPECT_EQ(wPrErr, CopyAt(folder / "file", volume / "copy"));
  EXPECT_TRUE(NamesIn(volume.path()).empty());
}

// A file that grows all the time is refused as busy, or copied if the writer paused long enough.
// Either way no incomplete copy has the name.
TEST(CopyItem, GivesUpGrowingFile) {
  const TemporaryFolder folder;
  WriteFile(folder / "log", std::string(1 << 20, 'x'));
  const pid_t writer = fork();
  if (writer == 0) {
    const UniqueFd log(open((folder / "log").c_str(), O_WRONLY | O_APPEND));
    while (write(log.get(), "more", 4) == 4 && LstatAt(folder / "log").st_size < (1 << 28)) {
    }
    _exit(0);
  }
  while (LstatAt(folder / "log").st_size == 1 << 20) usleep(100);
  const Status status = CopyAt(folder / "log", folder / "copy");
  EXPECT_EQ(0, kill(writer, SIGKILL));
  EXPECT_EQ(writer, waitpid(writer, nullptr, 0));
  EXPECT_TRUE(status == fBsyErr || status == noErr) << status;
  EXPECT_EQ(status == noErr, Exists(folder / "copy"));
  EXPECT_EQ(status == noErr ? 2U : 1U, NamesIn(folder.path()).size());
}

}  // namespace
}  // namespace tessary::test
