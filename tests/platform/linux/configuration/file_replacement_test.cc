#include "platform/linux/configuration/file_replacement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

std::optional<FileStamp> StampAt(const std::string& path) {
  FileStamp stamp;
  return ReadFileStamp(path.c_str(), &stamp) == noErr ? std::optional(stamp) : std::nullopt;
}

Status Replace(const std::string& path, const std::string& text) {
  FileReplacement replacement;
  const Status status = replacement.Begin(path);
  if (status != noErr) return status;
  return replacement.Commit(text, StampAt(replacement.target()));
}

struct stat LstatAt(const std::string& path) {
  struct stat info = {};
  EXPECT_EQ(0, lstat(path.c_str(), &info)) << path;
  return info;
}

using Names = std::vector<std::string>;

TEST(FileReplacement, CreatesPrivateFile) {
  const TemporaryFolder folder;
  EXPECT_EQ(noErr, Replace(folder / "file", "text"));
  EXPECT_EQ("text", ReadFile(folder / "file"));
  EXPECT_EQ(0600U, LstatAt(folder / "file").st_mode & 07777);
  EXPECT_EQ(Names{"file"}, NamesIn(folder.path()));
}

TEST(FileReplacement, KeepsMetadata) {
  const TemporaryFolder folder;
  const std::string path = folder / "file\n.\xff";
  WriteFile(path, "a much longer text than the new one");
  ASSERT_EQ(0, chmod(path.c_str(), 0640));
  const bool canGive = chown(path.c_str(), 12345, 54321) == 0;
  const bool hasAttributes = SetAttribute(path, "user.note", "x");
  const struct stat before = LstatAt(path);
  EXPECT_EQ(noErr, Replace(path, "short"));
  const struct stat after = LstatAt(path);
  EXPECT_EQ("short", ReadFile(path));
  EXPECT_NE(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mode, after.st_mode);
  EXPECT_EQ(before.st_uid, after.st_uid);
  EXPECT_EQ(before.st_gid, after.st_gid);
  EXPECT_EQ(canGive ? 12345U : getuid(), after.st_uid);
  if (hasAttributes) {
    char value[8] = {};
    EXPECT_EQ(1, getxattr(path.c_str(), "user.note", value, sizeof value));
    EXPECT_EQ('x', value[0]);
  }
}

TEST(FileReplacement, OldFileKeepsItsContents) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "old");
  ASSERT_EQ(0, link((folder / "file").c_str(), (folder / "hard link").c_str()));
  EXPECT_EQ(noErr, Replace(folder / "file", "new"));
  EXPECT_EQ("old", ReadFile(folder / "hard link"));
  EXPECT_EQ("new", ReadFile(folder / "file"));
}

TEST(FileReplacement, FollowsLinks) {
  const TemporaryFolder folder;
  MakeFolder(folder / "there");
  MakeLink("there/second", folder / "first");
  MakeLink("../third", folder / "there/second");
  MakeLink(folder / "there/absolute", folder / "fourth");
  EXPECT_EQ(noErr, Replace(folder / "first", "dangling"));
  EXPECT_EQ("dangling", ReadFile(folder / "third"));
  EXPECT_EQ(noErr, Replace(folder / "first", "there"));
  EXPECT_EQ("there", ReadFile(folder / "third"));
  EXPECT_EQ(noErr, Replace(folder / "fourth", "x"));
  EXPECT_EQ("x", ReadFile(folder / "there/absolute"));
  for (const char* name : {"first", "there/second", "fourth"}) {
    EXPECT_TRUE(S_ISLNK(LstatAt(folder / name).st_mode)) << name;
  }
  EXPECT_EQ((Names{"first", "fourth", "there", "third"}), NamesIn(folder.path()));
  EXPECT_EQ((Names{"absolute", "second"}), NamesIn(folder / "there"));
}

TEST(FileReplacement, RejectsOtherObjects) {
  const TemporaryFolder folder;
  MakeFolder(folder / "folder");
  ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
  MakeLink("loop", folder / "loop");
  MakeLink("no folder/file", folder / "to missing folder");
  MakeLink("folder/", folder / "to folder");
  WriteFile(folder / "file", "kept");
  const Names before = NamesIn(folder.path());
  EXPECT_EQ(paramErr, Replace(folder / "folder", "x"));
  EXPECT_EQ(paramErr, Replace(folder / "fifo", "x"));
  EXPECT_EQ(ioErr, Replace(folder / "loop", "x"));
  EXPECT_EQ(fnfErr, Replace(folder / "to missing folder", "x"));
  EXPECT_NE(noErr, Replace(folder / "to folder", "x"));
  EXPECT_EQ(fnfErr, Replace(folder / "absent/file", "x"));
  EXPECT_EQ(dirNFErr, Replace(folder / "file/below", "x"));
  EXPECT_EQ(before, NamesIn(folder.path()));
  EXPECT_TRUE(NamesIn(folder / "folder").empty());
  EXPECT_EQ("kept", ReadFile(folder / "file"));
}

TEST(FileReplacement, RejectsChangedTarget) {
  const TemporaryFolder folder;
  const std::string path = folder / "file";
  FileReplacement replacement;
  ASSERT_EQ(noErr, replacement.Begin(path));
  WriteFile(path, "an editor's");
  EXPECT_EQ(fBsyErr, replacement.Commit("a much longer text of ours", std::nullopt));
  EXPECT_EQ("an editor's", ReadFile(path));
  const auto stamp = StampAt(path);
  ASSERT_EQ(0, unlink(path.c_str()));
  EXPECT_EQ(fBsyErr, replacement.Commit("ours", stamp));
  EXPECT_FALSE(Exists(path));
  EXPECT_EQ(noErr, replacement.Commit("ours", std::nullopt));
  EXPECT_EQ("ours", ReadFile(path));
  EXPECT_EQ(paramErr, replacement.Commit("again", StampAt(path)));
  EXPECT_EQ(Names{"file"}, NamesIn(folder.path()));
}

TEST(FileReplacement, RemovesNewFileWithoutCommit) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "kept");
  {
    FileReplacement replacement;
    ASSERT_EQ(noErr, replacement.Begin(folder / "file"));
    EXPECT_EQ((Names{".file.new", "file"}), NamesIn(folder.path()));
  }
  EXPECT_EQ(Names{"file"}, NamesIn(folder.path()));
  EXPECT_EQ("kept", ReadFile(folder / "file"));
}

TEST(FileReplacement, ReusesFileOfCrashedWriter) {
  const TemporaryFolder folder;
  WriteFile(folder / ".file.new", "half of a much longer tex");
  EXPECT_EQ(noErr, Replace(folder / "file", "text"));
  EXPECT_EQ("text", ReadFile(folder / "file"));
  EXPECT_EQ(Names{"file"}, NamesIn(folder.path()));
}

TEST(FileReplacement, DoesNotFollowLinkAsNewFile) {
  const TemporaryFolder folder;
  WriteFile(folder / "victim", "kept");
  MakeLink("victim", folder / ".file.new");
  EXPECT_NE(noErr, Replace(folder / "file", "text"));
  EXPECT_EQ("kept", ReadFile(folder / "victim"));
  EXPECT_FALSE(Exists(folder / "file"));
}

TEST(FileReplacement, TimesOutOnLock) {
  const TemporaryFolder folder;
  const UniqueFd held(open((folder / ".file.new").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(0, flock(held.get(), LOCK_EX));
  WriteFile(folder / "file", "kept");
  EXPECT_EQ(fBsyErr, Replace(folder / "file", "text"));
  EXPECT_EQ("kept", ReadFile(folder / "file"));
  EXPECT_TRUE(Exists(folder / ".file.new"));
}

TEST(FileReplacement, KeepsFileOnInjectedErrors) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "kept");
  const bool hasAttributes = SetAttribute(folder / "file", "user.note", "x");
  std::vector<PausedCall> rows = {
      {SYS_newfstatat, "file", 1, {}, EIO},  {SYS_newfstatat, ".file.new", 1, {}, EIO},
      {SYS_newfstatat, "file", 2, {}, EIO},  {SYS_faccessat2, "file", 1, {}, EIO},
      {SYS_openat, ".file.new", 1, {}, EIO}, {SYS_flock, "", 1, {}, ENOLCK},
      {SYS_newfstatat, "", 2, {}, EIO},      {SYS_ftruncate, "", 1, {}, EIO},
      {SYS_lseek, "", 1, {}, EIO},           {SYS_fchmod, "", 1, {}, EIO},
      {SYS_fsync, "", 1, {}, EIO},           {SYS_renameat, ".file.new", 1, {}, EIO},
  };
  if (hasAttributes) {
    rows.push_back({SYS_llistxattr, "", 1, {}, EIO});
    rows.push_back({SYS_llistxattr, "", 2, {}, EIO});
    rows.push_back({SYS_lgetxattr, "", 1, {}, EIO});
    rows.push_back({SYS_lgetxattr, "", 2, {}, EIO});
    rows.push_back({SYS_fsetxattr, "", 1, {}, EIO});
  }
  for (const PausedCall& row : rows) {
    RunWithPausedCalls({row}, [&folder] {
      EXPECT_NE(noErr, Replace(folder / "file", "text"));
      EXPECT_EQ("kept", ReadFile(folder / "file"));
    });
    if (IsSkipped()) return;
    EXPECT_FALSE(HasFailure()) << row.number << " " << row.name << " " << row.occurrence;
  }
}

TEST(FileReplacement, LocksAgainAfterRemovalOfNewFile) {
  const TemporaryFolder folder;
  const auto remove = [&folder] { EXPECT_EQ(0, unlink((folder / ".file.new").c_str())); };
  RunWithPausedCalls({{SYS_newfstatat, ".file.new", 1, remove}}, [&folder] {
    EXPECT_EQ(noErr, Replace(folder / "file", "text"));
    EXPECT_EQ("text", ReadFile(folder / "file"));
    EXPECT_EQ(Names{"file"}, NamesIn(folder.path()));
  });
}

TEST(FileReplacement, KeepsGroupOfOtherUsersFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can change the owner of a file";
  constexpr gid_t kOrdinaryGroup = 65534;
  const TemporaryFolder folder;
  WriteFile(folder / "file", "old");
  ASSERT_EQ(0, chown((folder / "file").c_str(), 12, kOrdinaryGroup));
  ASSERT_EQ(0, chmod((folder / "file").c_str(), 0660));
  // New files in a set-group-ID folder get the group of the folder.
  ASSERT_EQ(0, chown(folder.path().c_str(), 0, 34));
  ASSERT_EQ(0, chmod(folder.path().c_str(), 02777));
  EXPECT_TRUE(RunAsOrdinaryUser([&folder] { EXPECT_EQ(noErr, Replace(folder / "file", "new")); }));
  EXPECT_EQ("new", ReadFile(folder / "file"));
  EXPECT_EQ(kOrdinaryGroup, LstatAt(folder / "file").st_gid);
  EXPECT_EQ(0660U, LstatAt(folder / "file").st_mode & 07777);
}

}  // namespace
}  // namespace tessary::test
