#include "platform/linux/changes/removal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/changes/object_info.h"
#include "platform/managers/file_manager.h"
#include "tests/support/captured_log.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

namespace {

// Called right before `gRemovedPath` is renamed or unlinked.
std::function<void()> gBeforeRenameOrUnlink;
std::string gRemovedPath;

// Called right before the staged name of "file" is unlinked.
std::function<void()> gBeforeUnlink;

void ActAt(const char* name, std::function<void()>* action) {
  if (*action && name == gRemovedPath) std::exchange(*action, nullptr)();
}

}  // namespace

// Override the C library's functions in this test program.
extern "C" int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  ActAt(from, &gBeforeRenameOrUnlink);
  return static_cast<int>(syscall(SYS_renameat, fromFolder, from, toFolder, to));
}

extern "C" int unlinkat(int folder, const char* name, int flags) noexcept {
  ActAt(name, &gBeforeRenameOrUnlink);
  if (gBeforeUnlink && std::string_view(name).starts_with("file - ")) {
    std::exchange(gBeforeUnlink, nullptr)();
  }
  return static_cast<int>(syscall(SYS_unlinkat, folder, name, flags));
}

namespace tessary::test {
namespace {

class Removal : public testing::Test {
 protected:
  ~Removal() override {
    gBeforeRenameOrUnlink = nullptr;
    gBeforeUnlink = nullptr;
  }

  // Saves a new version right before the name is renamed or unlinked. Editors save in this way.
  void SaveNewVersionDuringRemovalOf(const std::string& name) {
    gRemovedPath = name;
    gBeforeRenameOrUnlink = [this, name] { SaveNewVersion(name); };
  }

  void SaveNewVersion(const std::string& name) {
    WriteFile(folder_ / "saving", "newest");
    ASSERT_EQ(0, std::rename((folder_ / "saving").c_str(), (folder_ / name).c_str()));
  }

  void ExpectOnlyNewest(const std::string& name) {
    EXPECT_FALSE(gBeforeRenameOrUnlink) << "nothing was saved";
    EXPECT_EQ(std::vector<std::string>{name}, NamesIn(folder_.path()));
    EXPECT_EQ("newest", ReadFile(folder_ / name));
  }

  Status Remove(const std::string& name, bool* isDisplaced) {
    const UniqueFd folder = OpenFolder(folder_.path());
    struct statx expected = {};
    if (const Status status = ReadObjectInfo(folder.get(), name.c_str(), &expected)) return status;
    return RemoveIfUnchanged(
        folder.get(), name.c_str(),
        [&expected](const struct statx& info) { return IsUnchangedButForName(expected, info); },
        isDisplaced);
  }

  TemporaryFolder folder_;
};

TEST_F(Removal, RemovesFilesAndLinks) {
  bool isDisplaced = false;
  for (const std::string name : {"plain", "\xff.bin", "new\nline", ".hidden", "two..dots"}) {
    WriteFile(folder_ / name, "x");
    EXPECT_EQ(noErr, Remove(name, &isDisplaced)) << name;
  }
  MakeLink("nowhere", folder_ / "link");
  EXPECT_EQ(noErr, Remove("link", &isDisplaced));
  ASSERT_EQ(0, mkfifo((folder_ / "fifo").c_str(), 0600));
  EXPECT_EQ(noErr, Remove("fifo", &isDisplaced));
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
  EXPECT_EQ(fnfErr, Remove("none", &isDisplaced));
  EXPECT_FALSE(isDisplaced);
}

// A crash can leave a file under the staged name. Users recognise it, and a later run files it.
TEST_F(Removal, StagedNameResemblesName) {
  const UniqueFd folder = OpenFolder(folder_.path());
  const std::string longest = std::string(251, 'n') + ".txt";
  const std::vector<std::pair<std::string, std::string>> names = {
      {"a.tar.gz", "a.tar - UUID.gz"}, {"two..", "two. - UUID."},   {"none", "none - UUID"},
      {"\xff.bin", "\xff - UUID.bin"}, {".hidden", "tessary-UUID"}, {longest, "tessary-UUID"}};
  for (const auto& [name, expected] : names) {
    WriteFile(folder_ / name, "x");
    std::string seen;
    const auto isUnchanged = [&](const struct statx&) {
      seen = NamesIn(folder_.path()).at(0);
      return true;
    };
    bool isDisplaced = false;
    EXPECT_EQ(noErr, RemoveIfUnchanged(folder.get(), name.c_str(), isUnchanged, &isDisplaced));
    const std::regex uuid("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
    EXPECT_EQ(expected, std::regex_replace(seen, uuid, "UUID"));
  }
}

TEST_F(Removal, KeepsOtherHardLink) {
  WriteFile(folder_ / "one", "x");
  ASSERT_EQ(0, link((folder_ / "one").c_str(), (folder_ / "two").c_str()));
  bool isDisplaced = false;
  EXPECT_EQ(noErr, Remove("one", &isDisplaced));
  EXPECT_EQ(std::vector<std::string>{"two"}, NamesIn(folder_.path()));
}

TEST_F(Removal, KeepsReplacedFile) {
  WriteFile(folder_ / "file", "old");
  SaveNewVersionDuringRemovalOf("file");
  bool isDisplaced = false;
  EXPECT_EQ(fBsyErr, Remove("file", &isDisplaced));
  ExpectOnlyNewest("file");
  EXPECT_FALSE(isDisplaced);
}

TEST_F(Removal, RestoresNameOnFailure) {
  WriteFile(folder_ / "file", "old");
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_unlinkat, EACCES, 0, 0}}, [&] {
    bool isDisplaced = false;
    EXPECT_EQ(afpAccessDenied, Remove("file", &isDisplaced));
    EXPECT_FALSE(isDisplaced);
  }));
  EXPECT_EQ(std::vector<std::string>{"file"}, NamesIn(folder_.path()));
}

// Two new versions in a row: the second one has the name when the first is to get it back.
TEST_F(Removal, KeepsEveryVersionIfNameIsUsed) {
  WriteFile(folder_ / "file", "old");
  gRemovedPath = "file";
  gBeforeRenameOrUnlink = [this] { SaveNewVersion("file"); };
  const CapturedLog log;
  const UniqueFd folder = OpenFolder(folder_.path());
  bool isDisplaced = false;
  const auto isUnchanged = [this](const struct statx&) {
    WriteFile(folder_ / "file", "newer still");
    return false;
  };
  EXPECT_EQ(fBsyErr, RemoveIfUnchanged(folder.get(), "file", isUnchanged, &isDisplaced));
  EXPECT_TRUE(isDisplaced);
  EXPECT_EQ("newer still", ReadFile(folder_ / "file"));
  // The displaced version is visible, and recovery keeps it.
  RecoverFolder(folder_.path());
  const std::vector<std::string> names = NamesIn(folder_.path());
  ASSERT_EQ(2U, names.size());
  EXPECT_EQ("newest", ReadFile(folder_ / names[1]));
  EXPECT_TRUE(names[1].starts_with("file - ")) << names[1];
  EXPECT_EQ(
      std::vector<std::string>{"\"file\" could not keep its name and is now \"" + names[1] + "\""},
      log.Messages());
}

TEST_F(Removal, CleanupKeepsStagedFile) {
  WriteFile(folder_ / "file", "only copy");
  gBeforeUnlink = [this] {
    RecoverFolder(folder_.path());
    const std::vector<std::string> names = NamesIn(folder_.path());
    ASSERT_EQ(1U, names.size());
    EXPECT_EQ("only copy", ReadFile(folder_ / names[0]));
  };
  bool isDisplaced = false;
  EXPECT_EQ(noErr, Remove("file", &isDisplaced));
  EXPECT_FALSE(gBeforeUnlink);
}

TEST_F(Removal, DeleteKeepsNewVersion) {
  WriteFile(folder_ / "file", "old");
  MakeLink("nowhere", folder_ / "link");
  for (const char* name : {"file", "link"}) {
    const FSRef old = RefAt(folder_ / name);
    SaveNewVersionDuringRemovalOf(name);
    EXPECT_EQ(fBsyErr, FSDeleteObject(old)) << name;
    EXPECT_EQ("newest", ReadFile(folder_ / name));
    EXPECT_EQ(fnfErr, FSDeleteObject(old)) << name;
    ASSERT_EQ(noErr, FSDeleteObject(RefAt(folder_ / name)));
  }
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(Removal, DeleteFolderKeepsFileOfItsName) {
  MakeFolder(folder_ / "folder");
  const FSRef old = RefAt(folder_ / "folder");
  gRemovedPath = "folder";
  gBeforeRenameOrUnlink = [this] {
    ASSERT_EQ(0, rmdir((folder_ / "folder").c_str()));
    WriteFile(folder_ / "folder", "newest");
  };
  EXPECT_NE(noErr, FSDeleteObject(old));
  ExpectOnlyNewest("folder");
}

TEST_F(Removal, MoveKeepsNewVersion) {
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(folder_.path(), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
  }
  for (const char* name : {"file", "link"}) {
    if (name == std::string_view("file")) {
      WriteFile(folder_ / name, "old");
    } else {
      MakeLink("nowhere", folder_ / name);
    }
    SaveNewVersionDuringRemovalOf(name);
    EXPECT_EQ(fBsyErr, MoveAcrossAt(folder_ / name, memory / name));
    ExpectOnlyNewest(name);
    EXPECT_TRUE(NamesIn(memory.path()).empty());
    ASSERT_EQ(0, unlink((folder_ / name).c_str()));
  }
}

TEST_F(Removal, MoveKeepsFileWrittenTo) {
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(folder_.path(), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
  }
  WriteFile(folder_ / "file", "old");
  gRemovedPath = "file";
  gBeforeRenameOrUnlink = [this] { WriteFile(folder_ / "file", "newest"); };
  EXPECT_EQ(fBsyErr, MoveAcrossAt(folder_ / "file", memory / "file"));
  ExpectOnlyNewest("file");
  EXPECT_TRUE(NamesIn(memory.path()).empty());
}

// The failed sync rolls the copy back, under whose name a new version has been saved by then.
TEST_F(Removal, RollbackKeepsNewVersion) {
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(folder_.path(), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
  }
  WriteFile(memory / "file", "original");
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_fsync, EIO, 0, 0}}, [&] {
    SaveNewVersionDuringRemovalOf("file");
    EXPECT_EQ(ioErr, MoveAcrossAt(memory / "file", folder_ / "file"));
    ExpectOnlyNewest("file");
  }));
  EXPECT_EQ("original", ReadFile(memory / "file"));
}

}  // namespace
}  // namespace tessary::test
