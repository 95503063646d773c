#include "tests/faults/errors/real_limits.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/memory_volume.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Runs with full and read-only filesystems, and with files and folders that must not be changed.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Mounts a tmpfs that only this process sees. Null, with the reason, where it cannot.
std::unique_ptr<MemoryVolume> MountTmpfs(const std::string& options, std::string* reason) {
  if (!EnterMountNamespace(reason)) return nullptr;
  auto volume = std::make_unique<MemoryVolume>(options);
  if (volume->IsMounted()) return volume;
  *reason = "cannot mount a tmpfs";
  return nullptr;
}

// Sets one of the two flags of chattr(1) that prevent changes, or clears both if `flags` is 0.
// Returns false where the filesystem does not support them or this user may not set them.
bool SetFlags(const std::string& path, int flags) {
  const UniqueFd opened(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  int all = 0;
  if (!opened || ioctl(opened.get(), FS_IOC_GETFLAGS, &all) != 0) return false;
  all = (all & ~(FS_IMMUTABLE_FL | FS_APPEND_FL)) | flags;
  return ioctl(opened.get(), FS_IOC_SETFLAGS, &all) == 0;
}

// Creates files of 16 kB and a package of 80 kB.
void FillFolder(const std::string& folder, int files) {
  for (int i = 0; i < files; ++i) {
    WriteFile(folder + "/" + std::to_string(i) + ".txt",
              std::to_string(i) + std::string(16'000, 'x'));
  }
  WriteFile(folder + "/Big.app/Contents/a", std::string(40'000, 'a'));
  WriteFile(folder + "/Big.app/Contents/b", std::string(40'000, 'b'));
}

TEST_F(RealLimits, FullFilesystem) {
  for (const std::string options : {"size=128k", "size=4m,nr_inodes=12"}) {
    for (const std::string operation : {"--copy", "--move"}) {
      std::string reason;
      const auto volume = MountTmpfs(options, &reason);
      if (!volume) GTEST_SKIP() << reason;
      const TemporaryFolder source;
      FillFolder(source.path(), 12);
      const SupervisedResult result = Aggregate(operation, source.path(), volume->path());
      EXPECT_EQ(3, result.exitStatus) << result.output;
      EXPECT_THAT(result.output, HasSubstr("An error occurred: -34")) << options;
      EXPECT_THAT(FilesBelow(volume->path()), Not(IsEmpty())) << options << operation;
    }
  }
}

TEST_F(RealLimits, ReadOnlyFilesystem) {
  std::string reason;
  const auto volume = MountTmpfs("size=1m", &reason);
  if (!volume) GTEST_SKIP() << reason;
  WriteFile(*volume / "a.txt", "a");
  WriteFile(*volume / "Thing.app/Contents/b", "b");
  WriteFile(scratch_ / "source/c.txt", "c");
  WriteFile(*volume / "txt/old.txt", "old");
  MakeFolder(scratch_ / "destination");
  volume->MakeReadOnly();
  EXPECT_EQ(3, Aggregate("--copy", scratch_ / "source", volume->path()).exitStatus);
  const SupervisedResult into = Aggregate("--move", scratch_ / "source", volume->path());
  EXPECT_EQ(3, into.exitStatus);
  EXPECT_THAT(into.output, HasSubstr("An error occurred: -44"));
  EXPECT_TRUE(Exists(scratch_ / "source/c.txt"));
  const SupervisedResult outOf = Aggregate("--move", volume->path(), scratch_ / "destination");
  EXPECT_EQ(3, outOf.exitStatus);
  EXPECT_THAT(outOf.output, HasSubstr("An error occurred: -44"));
  EXPECT_THAT(FilesBelow(scratch_ / "destination"), IsEmpty());
  EXPECT_EQ(0, Aggregate("--copy", volume->path(), scratch_ / "destination").exitStatus);
}

TEST_F(RealLimits, ImmutableFiles) {
  const ScratchVolume volume(VolumeKind::kExt4, {}, 32);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  for (const int flag : {FS_IMMUTABLE_FL, FS_APPEND_FL}) {
    const std::string top = volume / std::to_string(flag);
    WriteFile(top + "/source/fixed.txt", "fixed");
    WriteFile(top + "/source/free.txt", "free");
    WriteFile(top + "/source/Thing.app/Contents/fixed", "fixed inside");
    MakeFolder(top + "/destination");
    const TemporaryFolder across;
    ASSERT_TRUE(SetFlags(top + "/source/fixed.txt", flag));
    ASSERT_TRUE(SetFlags(top + "/source/Thing.app/Contents/fixed", flag));
    EXPECT_EQ(0, Aggregate("--copy", top + "/source", top + "/destination").exitStatus);
    const SupervisedResult result = Aggregate("--move", top + "/source", across.path());
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(result.output, HasSubstr("An error occurred: -5000"));
    EXPECT_EQ(std::vector<std::string>({"txt/free.txt"}), FilesBelow(across.path()));
    // A package is renamed whatever the flags of the files inside.
    fs::remove_all(top + "/destination");
    MakeFolder(top + "/destination");
    EXPECT_EQ(3, Aggregate("--move", top + "/source", top + "/destination").exitStatus);
    EXPECT_TRUE(Exists(top + "/source/fixed.txt"));
    EXPECT_TRUE(Exists(top + "/destination/app/Thing.app/Contents/fixed"));
    EXPECT_TRUE(SetFlags(top + "/source/fixed.txt", 0));
    EXPECT_TRUE(SetFlags(top + "/destination/app/Thing.app/Contents/fixed", 0));
  }
}

TEST_F(RealLimits, ImmutableFolders) {
  const ScratchVolume volume(VolumeKind::kExt4, {}, 32);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  for (const int flag : {FS_IMMUTABLE_FL, FS_APPEND_FL}) {
    const std::string top = volume / std::to_string(flag);
    WriteFile(top + "/source/a.txt", "a");
    WriteFile(top + "/source/Thing.app/Contents/b", "b");
    MakeFolder(top + "/destination/txt");
    MakeFolder(top + "/destination/app");
    const TemporaryFolder across;
    ASSERT_TRUE(SetFlags(top + "/source", flag));
    const SupervisedResult out = Aggregate("--move", top + "/source", across.path());
    EXPECT_EQ(3, out.exitStatus);
    EXPECT_THAT(FilesBelow(across.path()), IsEmpty());
    ASSERT_TRUE(SetFlags(top + "/source", 0));
    ASSERT_TRUE(SetFlags(top + "/destination/txt", flag));
    ASSERT_TRUE(SetFlags(top + "/destination/app", flag));
    // From an append-only folder, the temporary folder of a package cannot be removed.
    mayLeaveTempFiles_ = flag == FS_APPEND_FL;
    EXPECT_EQ(3, Aggregate("--copy", top + "/source", top + "/destination").exitStatus);
    (void)Aggregate("--move", top + "/source", top + "/destination");
    ASSERT_TRUE(SetFlags(top + "/destination/txt", 0));
    ASSERT_TRUE(SetFlags(top + "/destination/app", 0));
    mayLeaveTempFiles_ = false;
    WriteFile(top + "/source/Other.app/Contents/c", "c");
    WriteFile(top + "/source/other.txt", "other");
    EXPECT_EQ(0, Aggregate("--copy", top + "/source", top + "/destination").exitStatus);
  }
}

TEST_F(RealLimits, StickyFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can create files of another owner";
  for (const std::string& parent : {scratch_.path(), MemoryFolder()}) {
    const TemporaryFolder folder(parent);
    ASSERT_EQ(0, chmod(folder.path().c_str(), 0755));
    ASSERT_EQ(0, chmod(scratch_.path().c_str(), 0755));
    ASSERT_EQ(0, chmod(config_.path().c_str(), 0777));
    const std::string source = folder / "source";
    const std::string destination = scratch_ / "to-" + fs::path(folder.path()).filename().string();
    WriteFile(source + "/theirs.txt", "theirs");
    WriteFile(source + "/Theirs.app/Contents/a", "theirs too");
    WriteFile(source + "/ours.txt", "ours");
    MakeFolder(destination);
    ASSERT_EQ(0, chown((source + "/ours.txt").c_str(), 65534, 65534));
    ASSERT_EQ(0, chown(destination.c_str(), 65534, 65534));
    ASSERT_EQ(0, chmod(source.c_str(), 01777));
    EXPECT_TRUE(RunAsOrdinaryUser([&] {
      const SupervisedResult result = Aggregate("--move", source, destination);
      EXPECT_EQ(3, result.exitStatus) << result.output;
      EXPECT_THAT(result.output, HasSubstr("An error occurred: -5000"));
    }));
    EXPECT_EQ(std::vector<std::string>({"txt/ours.txt"}), FilesBelow(destination));
    EXPECT_EQ(std::vector<std::string>({"Theirs.app/Contents/a", "theirs.txt"}),
              FilesBelow(source));
  }
}

TEST_F(RealLimits, DestinationInsideItem) {
  std::string reason;
  if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
  const std::string source = scratch_ / "source";
  WriteFile(source + "/a.txt", "a");
  WriteFile(source + "/Thing.app/Contents/b", "b");
  MakeFolder(source + "/Thing.app/inside");
  MakeFolder(scratch_ / "bound");
  // By a bind mount, the destination is a folder of the package that is to be moved there.
  ASSERT_EQ(0, mount((source + "/Thing.app/inside").c_str(), (scratch_ / "bound").c_str(), nullptr,
                     MS_BIND, nullptr));
  const SupervisedResult result =
      Run({"--kind", "extension", "--move"}, source, scratch_ / "bound");
  EXPECT_EQ(3, result.exitStatus) << result.output;
  EXPECT_THAT(result.output, HasSubstr("An error occurred: -122"));
  EXPECT_EQ("b", ReadFile(source + "/Thing.app/Contents/b"));
  EXPECT_EQ("a", ReadFile(scratch_ / "bound/txt/a.txt"));
  EXPECT_EQ(0, umount2((scratch_ / "bound").c_str(), MNT_DETACH));
}

TEST_F(RealLimits, BindMountOverFile) {
  std::string reason;
  if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
  WriteFile(scratch_ / "source/over.txt", "over");
  WriteFile(scratch_ / "source/free.txt", "free");
  WriteFile(scratch_ / "other.txt", "other");
  MakeFolder(scratch_ / "destination");
  ASSERT_EQ(0, mount((scratch_ / "other.txt").c_str(), (scratch_ / "source/over.txt").c_str(),
                     nullptr, MS_BIND, nullptr));
  const SupervisedResult result =
      Aggregate("--move", scratch_ / "source", scratch_ / "destination");
  EXPECT_EQ(3, result.exitStatus);
  EXPECT_EQ("other", ReadFile(scratch_ / "source/over.txt"));
  EXPECT_EQ(0, umount2((scratch_ / "source/over.txt").c_str(), MNT_DETACH));
  EXPECT_EQ("over", ReadFile(scratch_ / "source/over.txt"));
}

}  // namespace
}  // namespace tessary::test
