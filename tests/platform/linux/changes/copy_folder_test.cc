#include "platform/linux/changes/copy_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/changes/delete_tree.h"
#include "tests/support/captured_log.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

class CopyFolderTest : public testing::Test {
 protected:
  CopyFolderTest() { MakeFolder(folder_ / "to"); }

  Status Copy() { return CopyAt(folder_ / "package", folder_ / "to/package"); }
  std::string Source(const std::string& path) { return folder_ / ("package/" + path); }
  std::string Target(const std::string& path) { return folder_ / ("to/package/" + path); }

  void ExpectEmptyTarget() { EXPECT_TRUE(NamesIn(folder_ / "to").empty()); }

  TemporaryFolder folder_;
};

TEST_F(CopyFolderTest, CopiesEverything) {
  const std::vector<std::string> names = {
      ".hidden", "a..b", "caf\xe9", "empty", std::string(255, 'x'), "two\nlines"};
  for (const std::string& name : names) WriteFile(Source("Contents/" + name), name);
  WriteFile(Source("Contents/empty"));
  MakeFolder(Source("nothing inside"));
  ASSERT_EQ(noErr, Copy());
  EXPECT_EQ(FilesBelow(folder_ / "package"), FilesBelow(folder_ / "to/package"));
  EXPECT_EQ("caf\xe9", ReadFile(Target("Contents/caf\xe9")));
  EXPECT_TRUE(NamesIn(Target("nothing inside")).empty());
  EXPECT_EQ(std::vector<std::string>{"package"}, NamesIn(folder_ / "to"));
}

TEST_F(CopyFolderTest, KeepsFolderModesAndTimes) {
  WriteFile(Source("closed/file"), "x");
  const std::array<timespec, 2> times = {timespec{11, 12}, timespec{13, 14}};
  for (const char* path : {"closed", ""}) {
    ASSERT_EQ(0, chmod(Source(path).c_str(), 0555));
    ASSERT_EQ(0, utimensat(AT_FDCWD, Source(path).c_str(), times.data(), 0));
  }
  ASSERT_EQ(noErr, Copy());
  for (const char* path : {"closed", ""}) {
    const struct stat info = LstatAt(Target(path));
    EXPECT_EQ(0555U, info.st_mode & 07777);
    EXPECT_EQ(13, info.st_mtim.tv_sec);
    EXPECT_EQ(14, info.st_mtim.tv_nsec);
  }
}

TEST_F(CopyFolderTest, KeepsHardLinks) {
  WriteFile(Source("a/first"), "shared");
  MakeFolder(Source("b/c"));
  ASSERT_EQ(0, link(Source("a/first").c_str(), Source("b/c/second").c_str()));
  ASSERT_EQ(0, link(Source("a/first").c_str(), Source("third").c_str()));
  WriteFile(Source("alone"), "alone");
  ASSERT_EQ(0, link(Source("alone").c_str(), (folder_ / "outside").c_str()));
  ASSERT_EQ(noErr, Copy());
  const struct stat first = LstatAt(Target("a/first"));
  EXPECT_EQ(3U, first.st_nlink);
  EXPECT_EQ(first.st_ino, LstatAt(Target("b/c/second")).st_ino);
  EXPECT_EQ(first.st_ino, LstatAt(Target("third")).st_ino);
  EXPECT_NE(first.st_ino, LstatAt(Source("third")).st_ino);
  EXPECT_EQ(1U, LstatAt(Target("alone")).st_nlink);
  EXPECT_EQ("shared", ReadFile(Target("b/c/second")));
  EXPECT_EQ(std::vector<std::string>{"package"}, NamesIn(folder_ / "to"));
}

TEST_F(CopyFolderTest, CopiesTwiceWithoutHardLinks) {
  WriteFile(Source("first"), "shared");
  ASSERT_EQ(0, link(Source("first").c_str(), Source("second").c_str()));
  EXPECT_TRUE(
      RunWithInjectedErrors({{SYS_linkat, EPERM, 0, 0}}, [&] { EXPECT_EQ(noErr, Copy()); }));
  EXPECT_EQ("shared", ReadFile(Target("first")));
  EXPECT_EQ("shared", ReadFile(Target("second")));
  EXPECT_EQ(std::vector<std::string>{"package"}, NamesIn(folder_ / "to"));
}

TEST_F(CopyFolderTest, DoesNotFollowLinks) {
  WriteFile(folder_ / "outside/file", "x");
  MakeFolder(Source(""));
  MakeLink(folder_ / "outside", Source("to folder"));
  MakeLink(folder_ / "outside/file", Source("to file"));
  MakeLink("nowhere", Source("dangling"));
  MakeLink(".", Source("to itself"));
  ASSERT_EQ(noErr, Copy());
  for (const char* name : {"to folder", "to file", "dangling", "to itself"}) {
    EXPECT_TRUE(S_ISLNK(LstatAt(Target(name)).st_mode)) << name;
  }
}

TEST_F(CopyFolderTest, OmitsOnlyOwnComment) {
  WriteFile(Source("file"), "x");
  WriteFile(Source("dated"), "x");
  if (!SetAttribute(Source(""), kCommentAttribute, "own") ||
      !SetAttribute(Source("file"), kCommentAttribute, "in")) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  ASSERT_TRUE(SetAttribute(Source("dated"), kCreationDateAttribute, "1971-01-01T00:00:00Z"));
  ASSERT_EQ(noErr, Copy());
  EXPECT_EQ("(none)", AttributeAt(Target(""), kCommentAttribute));
  EXPECT_EQ("in", AttributeAt(Target("file"), kCommentAttribute));
  EXPECT_NE("(none)", AttributeAt(Target(""), kCreationDateAttribute));
  EXPECT_EQ("1971-01-01T00:00:00Z", AttributeAt(Target("dated"), kCreationDateAttribute));
  EXPECT_EQ("(none)", AttributeAt(Target("file"), kCreationDateAttribute));
}

TEST_F(CopyFolderTest, RefusesSpecialFiles) {
  WriteFile(Source("a/file"), "x");
  ASSERT_EQ(0, mkfifo(Source("z").c_str(), 0600));
  EXPECT_EQ(paramErr, Copy());
  ExpectEmptyTarget();
}

TEST_F(CopyFolderTest, RefusesTargetInside) {
  MakeFolder(Source("deep/er"));
  EXPECT_EQ(badMovErr, CopyAt(folder_ / "package", Source("copy")));
  EXPECT_EQ(badMovErr, CopyAt(folder_ / "package", Source("deep/er/copy")));
  EXPECT_EQ(std::vector<std::string>{"deep"}, NamesIn(folder_ / "package"));
}

TEST_F(CopyFolderTest, RefusesMountInside) {
  WriteFile(Source("a"), "x");
  MakeFolder(Source("mounted"));
  if (mount("tmpfs", Source("mounted").c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "cannot mount here";
  }
  EXPECT_EQ(diffVolErr, Copy());
  EXPECT_EQ(0, umount(Source("mounted").c_str()));
  ExpectEmptyTarget();
}

TEST_F(CopyFolderTest, LeavesNothingOnFailure) {
  for (int i = 0; i < 10; ++i) WriteFile(Source(std::to_string(i) + "/file"), "x");
  ASSERT_EQ(0, link(Source("1/file").c_str(), Source("9/linked").c_str()));
  MakeLink("x", Source("9/z"));
  EXPECT_TRUE(
      RunWithInjectedErrors({{SYS_symlinkat, EIO, 0, 0}}, [&] { EXPECT_EQ(ioErr, Copy()); }));
  ExpectEmptyTarget();
}

TEST_F(CopyFolderTest, CopiesDeepTreeWithFewDescriptors) {
  constexpr int kDepth = 1200;
  const std::string name(200, 'd');
  const UniqueFd from = OpenFolder(folder_.path());
  UniqueFd current = OpenFolder(folder_.path());
  for (int i = 0; i < kDepth; ++i) {
    ASSERT_EQ(0, mkdirat(current.get(), name.c_str(), 0700));
    current = UniqueFd(openat(current.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(current);
  }
  ASSERT_EQ(0, symlinkat("end", current.get(), "link"));
  EXPECT_EQ(noErr, CopyAt(folder_ / name, folder_ / "to/deep"));

  UniqueFd copy = OpenFolder(folder_ / "to/deep");
  for (int i = 1; i < kDepth; ++i) {
    copy = UniqueFd(openat(copy.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(copy) << i;
  }
  EXPECT_EQ(0, faccessat(copy.get(), "link", F_OK, AT_SYMLINK_NOFOLLOW));
  // Too deep for a path, by which TemporaryFolder would delete it.
  bool hasBegun = false;
  const UniqueFd to = OpenFolder(folder_ / "to");
  const UniqueFd top(open((folder_ / name).c_str(), O_RDONLY | O_DIRECTORY));
  const UniqueFd deep(open((folder_ / "to/deep").c_str(), O_RDONLY | O_DIRECTORY));
  EXPECT_EQ(noErr, DeleteTree(from.get(), name.c_str(), top.get(), &hasBegun));
  EXPECT_EQ(noErr, DeleteTree(to.get(), "deep", deep.get(), &hasBegun));
}

// Copies in a child process that is killed after different delays. A copy that has its name is
// complete, and the next process removes the temporary ones.
TEST_F(CopyFolderTest, KilledCopyIsCompleteOrAbsent) {
  for (int i = 0; i < 60; ++i) {
    WriteFile(Source(std::to_string(i % 7) + "/" + std::to_string(i)), std::string(20'000, 'x'));
  }
  ASSERT_EQ(0, link(Source("1/1").c_str(), Source("2/linked").c_str()));
  const std::vector<std::string> complete = FilesBelow(folder_ / "package");
  int killed = 0;
  for (useconds_t delay = 200; delay < 20'000; delay += delay / 4 + 100) {
    const pid_t child = fork();
    if (child == 0) {
      for (int i = 0;; ++i) {
        if (CopyAt(folder_ / "package", folder_ / ("to/" + std::to_string(i))) != noErr) _exit(1);
      }
    }
    usleep(delay);
    ASSERT_EQ(0, kill(child, SIGKILL));
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    killed += WIFSIGNALED(status) ? 1 : 0;

    RecoverFolder(folder_ / "to");
    for (const std::string& name : NamesIn(folder_ / "to")) {
      ASSERT_FALSE(name.starts_with(".tessary-")) << "stale after " << delay;
      ASSERT_EQ(complete, FilesBelow(folder_ / ("to/" + name))) << name;
      std::filesystem::remove_all(folder_ / ("to/" + name));
    }
  }
  EXPECT_GT(killed, 5);
}

// To a filesystem that refuses characters of names.
class CopyFolderToWindowsNames : public testing::TestWithParam<VolumeKind> {
 protected:
  void SetUp() override {
    if (!volume_.IsAvailable()) GTEST_SKIP() << volume_.UnavailableReason();
  }

  std::string Source(const std::string& path) const { return folder_ / ("package/" + path); }

  const ScratchVolume volume_{GetParam()};
  const TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Filesystem, CopyFolderToWindowsNames,
                         testing::Values(VolumeKind::kExfat, VolumeKind::kNtfs),
                         [](const auto& row) { return NameOf(row.param); });

TEST_P(CopyFolderToWindowsNames, ReplacesCharactersInside) {
  WriteFile(Source("a:b"), "");
  ASSERT_EQ(0, link(Source("a:b").c_str(), Source("x|y").c_str()));
  for (const bool isMove : {false, true}) {
    for (const std::string name : {"a:b", "c\rd", "what?", "blank ", "dot.", "caf\xe9"}) {
      WriteFile(Source(name), name);
      WriteFile(Source("Contents/<" + name + ">/inner"), name);
    }
    EXPECT_EQ(noErr, isMove ? MoveAcrossAt(folder_ / "package", volume_ / "moved")
                            : CopyAt(folder_ / "package", volume_ / "copied"));
    const std::string copy = volume_ / (isMove ? "moved" : "copied");
    EXPECT_EQ((std::vector<std::string>{"Contents", "a_b", "blank_", "c_d", "caf_", "dot_", "what_",
                                        "x_y"}),
              NamesIn(copy));
    EXPECT_EQ("a:b", ReadFile(copy + "/a_b"));
    EXPECT_EQ("caf\xe9", ReadFile(copy + "/Contents/_caf__/inner"));
  }
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_P(CopyFolderToWindowsNames, KeepsPackageWhoseNamesBecomeOne) {
  WriteFile(Source("a:b"), "one");
  WriteFile(Source("a?b"), "other");
  WriteFile(folder_ / "folders/a:b/inner", "one");
  WriteFile(folder_ / "folders/a?b/inner", "other");
  const std::vector<std::string> before = FilesBelow(folder_.path());
  const CapturedLog log;
  EXPECT_EQ(dupFNErr, MoveAcrossAt(folder_ / "package", volume_ / "package"));
  EXPECT_EQ(dupFNErr, CopyAt(folder_ / "folders", volume_ / "folders"));
  EXPECT_EQ(before, FilesBelow(folder_.path()));
  EXPECT_TRUE(NamesIn(volume_.path()).empty());
  const std::string message =
      "\"a?b\" and another object in its folder would both be named \"a_b\" at the destination";
  EXPECT_EQ((std::vector<std::string>{message, message}), log.Messages());
}

}  // namespace
}  // namespace tessary::test
