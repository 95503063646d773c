#include "platform/linux/changes/rename.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/changes/rename_fallbacks.h"
#include "platform/managers/autorelease_pool.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/process_kills.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

const InjectedError kNoRenameNoReplace = {SYS_renameat2, EINVAL, 4, ~0U};
const InjectedError kNoHardLinks = {SYS_linkat, EPERM, 0, 0};

// A method to rename, and whether it renames folders too.
struct RenameMethod {
  const char* name;
  Status (*rename)(int, const char*, int, const char*);
  std::vector<InjectedError> injected;
  bool renamesFolders;
};

const std::vector<RenameMethod>& RenameMethods() {
  static const std::vector<RenameMethod> gMethods = {
      {"ByNoReplace", RenameWithoutReplacing, {}, true},
      {"ByFallback", RenameWithoutReplacing, {kNoRenameNoReplace}, true},
      {"ByFallbackNoLinks", RenameWithoutReplacing, {kNoRenameNoReplace, kNoHardLinks}, true},
      {"ByLink", RenameByLink, {}, false},
      {"OntoPlaceholder", RenameOntoPlaceholder, {}, true},
  };
  return gMethods;
}

class RenameTest : public testing::TestWithParam<RenameMethod> {
 protected:
  RenameTest() {
    MakeFolder(folder_ / "from");
    MakeFolder(folder_ / "to");
  }

  Status Rename(const std::string& from, const std::string& to) {
    const size_t before = CountOpenDescriptors();
    Status status = noErr;
    {
      const UniqueFd fromFolder = OpenFolder(folder_ / "from");
      const UniqueFd toFolder = OpenFolder(folder_ / "to");
      status = GetParam().rename(fromFolder.get(), from.c_str(), toFolder.get(), to.c_str());
    }
    EXPECT_EQ(before, CountOpenDescriptors());
    return status;
  }

  // Runs the body with the injected errors.
  void Run(const std::function<void()>& body) {
    if (GetParam().injected.empty()) return body();
    EXPECT_TRUE(RunWithInjectedErrors(GetParam().injected, body));
  }

  TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Methods, RenameTest, testing::ValuesIn(RenameMethods()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(RenameTest, RenamesFile) {
  WriteFile(folder_ / "from/file", "only copy");
  const ino_t inode = LstatAt(folder_ / "from/file").st_ino;
  Run([&] { EXPECT_EQ(noErr, Rename("file", "new")); });
  EXPECT_EQ("only copy", ReadFile(folder_ / "to/new"));
  EXPECT_EQ(inode, LstatAt(folder_ / "to/new").st_ino);
  EXPECT_EQ(1U, LstatAt(folder_ / "to/new").st_nlink);
  EXPECT_TRUE(NamesIn(folder_ / "from").empty());
}

TEST_P(RenameTest, RenamesLinksAndFifos) {
  MakeLink("nowhere", folder_ / "from/link");
  ASSERT_EQ(0, mkfifo((folder_ / "from/fifo").c_str(), 0600));
  Run([&] {
    EXPECT_EQ(noErr, Rename("link", "link"));
    EXPECT_EQ(noErr, Rename("fifo", "fifo"));
  });
  EXPECT_TRUE(S_ISLNK(LstatAt(folder_ / "to/link").st_mode));
  EXPECT_TRUE(S_ISFIFO(LstatAt(folder_ / "to/fifo").st_mode));
  EXPECT_TRUE(NamesIn(folder_ / "from").empty());
}

TEST_P(RenameTest, RenamesFolder) {
  if (!GetParam().renamesFolders) GTEST_SKIP() << "not a method for folders";
  WriteFile(folder_ / "from/inner/file", "x");
  Run([&] { EXPECT_EQ(noErr, Rename("inner", "new")); });
  EXPECT_EQ("x", ReadFile(folder_ / "to/new/file"));
  EXPECT_TRUE(NamesIn(folder_ / "from").empty());
}

TEST_P(RenameTest, KeepsExistingObjects) {
  WriteFile(folder_ / "to/file", "old");
  MakeFolder(folder_ / "to/folder");
  MakeLink("file", folder_ / "to/link");
  MakeLink("nowhere", folder_ / "to/dangling");
  WriteFile(folder_ / "from/source", "new");
  MakeFolder(folder_ / "from/source folder");
  const std::vector<std::string> sources = GetParam().renamesFolders
                                               ? std::vector<std::string>{"source", "source folder"}
                                               : std::vector<std::string>{"source"};
  Run([&] {
    for (const std::string& source : sources) {
      for (const std::string& name : NamesIn(folder_ / "to")) {
        EXPECT_EQ(dupFNErr, Rename(source, name)) << source << " to " << name;
      }
    }
  });
  EXPECT_EQ("old", ReadFile(folder_ / "to/file"));
  EXPECT_EQ("new", ReadFile(folder_ / "from/source"));
  EXPECT_TRUE(S_ISDIR(LstatAt(folder_ / "to/folder").st_mode));
  EXPECT_TRUE(S_ISLNK(LstatAt(folder_ / "to/link").st_mode));
  EXPECT_TRUE(S_ISLNK(LstatAt(folder_ / "to/dangling").st_mode));
  EXPECT_TRUE(Exists(folder_ / "from/source folder"));
}

TEST_P(RenameTest, AcceptsEveryValidName) {
  for (const std::string& name :
       {std::string("caf\xe9"), std::string("two\nlines"), std::string(255, 'x'),
        std::string(".hidden"), std::string("a.b.c"), std::string("-rf")}) {
    WriteFile(folder_ / ("from/" + name), name);
    Run([&] { EXPECT_EQ(noErr, Rename(name, name)) << name; });
    EXPECT_EQ(name, ReadFile(folder_ / ("to/" + name)));
  }
}

TEST_P(RenameTest, KeepsBothNamesOnFailure) {
  WriteFile(folder_ / "from/file", "x");
  Run([&] {
    EXPECT_EQ(bdNamErr, Rename("file", std::string(256, 'x')));
    EXPECT_EQ(fnfErr, Rename("missing", "new"));
  });
  EXPECT_EQ("x", ReadFile(folder_ / "from/file"));
  EXPECT_TRUE(NamesIn(folder_ / "to").empty());
}

// The old name cannot be removed from its folder, so the new one must be removed again.
TEST_P(RenameTest, LeavesNoSecondLinkOnFailure) {
  WriteFile(folder_ / "from/file", "x");
  ASSERT_EQ(0, chmod((folder_ / "from").c_str(), 0555));
  ASSERT_EQ(0, chmod((folder_ / "to").c_str(), 0777));
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0755));
  ASSERT_EQ(0, chmod((folder_ / "from/file").c_str(), 0666));
  EXPECT_TRUE(
      RunAsOrdinaryUser([&] { Run([&] { EXPECT_EQ(afpAccessDenied, Rename("file", "new")); }); }));
  EXPECT_EQ("x", ReadFile(folder_ / "from/file"));
  EXPECT_EQ(1U, LstatAt(folder_ / "from/file").st_nlink);
  EXPECT_TRUE(NamesIn(folder_ / "to").empty());
}

TEST(RenameOntoPlaceholder, LeavesNoPlaceholderOnFailure) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "file");
  MakeFolder(folder / "folder");
  // The placeholder is created, but cannot be opened to be recognised.
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_openat, EMFILE, 2, O_PATH}}, [&folder] {
    const UniqueFd opened(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (const char* name : {"file", "folder"}) {
      EXPECT_EQ(tmfoErr, RenameOntoPlaceholder(opened.get(), name, opened.get(), "new")) << name;
    }
  }));
  EXPECT_EQ((std::vector<std::string>{"file", "folder"}), NamesIn(folder.path()));
}

TEST(RenameWithoutReplacing, RefusesFolderIntoItself) {
  for (const std::vector<InjectedError>& injected :
       {std::vector<InjectedError>{}, {kNoRenameNoReplace}}) {
    const TemporaryFolder folder;
    MakeFolder(folder / "a/b/c");
    const auto body = [&] {
      const UniqueFd top = OpenFolder(folder.path());
      const UniqueFd inner = OpenFolder(folder / "a/b/c");
      EXPECT_EQ(badMovErr, RenameWithoutReplacing(top.get(), "a", inner.get(), "a"));
      const UniqueFd itself = OpenFolder(folder / "a");
      EXPECT_EQ(badMovErr, RenameWithoutReplacing(top.get(), "a", itself.get(), "new"));
    };
    if (injected.empty()) {
      body();
    } else {
      EXPECT_TRUE(RunWithInjectedErrors(injected, body));
    }
    EXPECT_TRUE(Exists(folder / "a/b/c"));
    EXPECT_TRUE(NamesIn(folder / "a/b/c").empty());
  }
}

TEST(RenameWithoutReplacing, RefusesOwnName) {
  const TemporaryFolder folder;
  MakeFolder(folder / "folder");
  WriteFile(folder / "file");
  const auto body = [&] {
    const UniqueFd top = OpenFolder(folder.path());
    EXPECT_EQ(dupFNErr, RenameWithoutReplacing(top.get(), "folder", top.get(), "folder"));
    EXPECT_EQ(dupFNErr, RenameWithoutReplacing(top.get(), "file", top.get(), "file"));
  };
  body();
  EXPECT_TRUE(RunWithInjectedErrors({kNoRenameNoReplace}, body));
  EXPECT_TRUE(RunWithInjectedErrors({kNoRenameNoReplace, kNoHardLinks}, body));
  EXPECT_EQ((std::vector<std::string>{"file", "folder"}), NamesIn(folder.path()));
}

TEST(RenameWithoutReplacing, RefusesOtherLinkOfSameFile) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  ASSERT_EQ(0, link((folder / "file").c_str(), (folder / "other").c_str()));
  const auto body = [&] {
    const UniqueFd top = OpenFolder(folder.path());
    EXPECT_EQ(dupFNErr, RenameWithoutReplacing(top.get(), "file", top.get(), "other"));
  };
  body();
  EXPECT_TRUE(RunWithInjectedErrors({kNoRenameNoReplace}, body));
  EXPECT_TRUE(RunWithInjectedErrors({kNoRenameNoReplace, kNoHardLinks}, body));
  EXPECT_EQ(2U, LstatAt(folder / "file").st_nlink);
}

TEST(RenameWithoutReplacing, ContinuesWithoutNoReplace) {
  const TemporaryFolder folder;
  for (int i = 0; i < 3; ++i) WriteFile(folder / std::to_string(i), std::to_string(i));
  EXPECT_TRUE(RunWithInjectedErrors({kNoRenameNoReplace}, [&] {
    const UniqueFd top = OpenFolder(folder.path());
    EXPECT_EQ(noErr, RenameWithoutReplacing(top.get(), "0", top.get(), "zero"));
    EXPECT_EQ(noErr, RenameWithoutReplacing(top.get(), "1", top.get(), "one"));
    EXPECT_EQ(dupFNErr, RenameWithoutReplacing(top.get(), "2", top.get(), "one"));
  }));
  EXPECT_EQ((std::vector<std::string>{"2", "one", "zero"}), NamesIn(folder.path()));
}

TEST(RenameWithoutReplacing, ReportsOtherFilesystem) {
  const TemporaryFolder folder;
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(folder.path(), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
  }
  WriteFile(folder / "file", "x");
  MakeFolder(folder / "folder");
  const UniqueFd from = OpenFolder(folder.path());
  const UniqueFd to = OpenFolder(memory.path());
  EXPECT_EQ(diffVolErr, RenameWithoutReplacing(from.get(), "file", to.get(), "file"));
  EXPECT_EQ(diffVolErr, RenameWithoutReplacing(from.get(), "folder", to.get(), "folder"));
  EXPECT_TRUE(NamesIn(memory.path()).empty());
}

// Several processes rename files of their own to the same names: each file must keep its old name
// or get a new one.
TEST_P(RenameTest, RacesLoseNoFile) {
  constexpr int kProcesses = 4;
  constexpr int kFiles = 200;
  for (int p = 0; p < kProcesses; ++p) {
    for (int i = 0; i < kFiles; ++i) {
      const std::string name = std::to_string(p) + "-" + std::to_string(i);
      WriteFile(folder_ / ("from/" + name), name);
    }
  }
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    const pid_t child = fork();
    if (child == 0) {
      Run([&] {
        for (int i = 0; i < kFiles; ++i) {
          const Status status =
              Rename(std::to_string(p) + "-" + std::to_string(i), std::to_string(i));
          EXPECT_TRUE(status == noErr || status == dupFNErr) << status;
        }
      });
      _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
  }
  std::set<std::string> contents;
  for (const char* side : {"from", "to"}) {
    for (const std::string& name : NamesIn(folder_ / side)) {
      contents.insert(ReadFile(folder_ / (std::string(side) + "/" + name)));
    }
  }
  EXPECT_EQ(static_cast<size_t>(kProcesses * kFiles), contents.size());
  EXPECT_FALSE(contents.contains(""));
  EXPECT_EQ(static_cast<size_t>(kFiles), NamesIn(folder_ / "to").size());
}

// Renames an item that `make` creates, kills the process before its first system call, then before
// its second one and so on, and cleans up after each like the next run. Returns how often there was
// something to clean up: 0 if this process may not trace another.
int CleansUpAfterKills(const std::function<void(const std::string& path)>& make) {
  int cleanups = 0;
  KillResult end = KillResult::kKilled;
  for (unsigned call = 1; end == KillResult::kKilled; ++call) {
    const TemporaryFolder folder;
    for (const char* side : {"from", "to"}) MakeFolder(folder / side);
    make(folder / "from/item");
    const ino_t inode = LstatAt(folder / "from/item").st_ino;
    end = RunAndKillBeforeCall(call, [&folder] {
      EXPECT_TRUE(InjectErrors({kNoRenameNoReplace}));
      const NSAutoreleasePool pool;
      const UniqueFd from = OpenFolder(folder / "from");
      const UniqueFd to = OpenFolder(folder / "to");
      EXPECT_EQ(noErr, RenameWithoutReplacing(from.get(), "item", to.get(), "item"));
    });
    EXPECT_NE(KillResult::kFailed, end);
    const size_t left = NamesIn(folder / "from").size() + NamesIn(folder / "to").size();
    RecoverFolder(folder / "from");
    std::vector<std::string> found = FilesBelow(folder.path());
    if (found.size() < left) ++cleanups;
    // It may have both names at that moment.
    EXPECT_FALSE(found.empty()) << call;
    for (const std::string& path : found) {
      EXPECT_TRUE(path.ends_with("/item")) << call << ": " << path;
      EXPECT_EQ(inode, LstatAt(folder / path).st_ino) << call << ": " << path;
    }
  }
  EXPECT_TRUE(cleanups > 0 || end == KillResult::kNotPermitted);
  return cleanups;
}

TEST(RenameWithoutReplacing, KilledProbeIsCleanedUp) {
  if (CleansUpAfterKills([](const std::string& path) { WriteFile(path, "x"); }) == 0) {
    GTEST_SKIP() << "processes may not be traced here";
  }
  CleansUpAfterKills([](const std::string& path) { MakeLink("nowhere", path); });
  CleansUpAfterKills([](const std::string& path) { EXPECT_EQ(0, mkfifo(path.c_str(), 0600)); });
}

class LinkOpenFileTest : public testing::Test {
 protected:
  Status LinkNewFile(const std::string& name) {
    const UniqueFd folder = OpenFolder(folder_.path());
    const UniqueFd file(openat(folder.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (!file) return ioErr;
    EXPECT_EQ(1, write(file.get(), "x", 1));
    return LinkOpenFile(file.get(), folder.get(), name.c_str());
  }

  bool SupportsTmpfile() {
    return static_cast<bool>(UniqueFd(open(folder_.path().c_str(), O_TMPFILE | O_RDWR, 0600)));
  }

  TemporaryFolder folder_;
};

TEST_F(LinkOpenFileTest, LinksAnonymousFile) {
  if (!SupportsTmpfile()) GTEST_SKIP() << "the filesystem has no O_TMPFILE";
  EXPECT_EQ(noErr, LinkNewFile("file"));
  EXPECT_EQ("x", ReadFile(folder_ / "file"));
}

TEST_F(LinkOpenFileTest, LinksThroughProcWithoutPrivilege) {
  if (!SupportsTmpfile()) GTEST_SKIP() << "the filesystem has no O_TMPFILE";
  const InjectedError noEmptyPath = {SYS_linkat, ENOENT, 4, AT_EMPTY_PATH};
  EXPECT_TRUE(RunWithInjectedErrors({noEmptyPath}, [&] { EXPECT_EQ(noErr, LinkNewFile("file")); }));
  EXPECT_EQ("x", ReadFile(folder_ / "file"));
}

TEST_F(LinkOpenFileTest, ReportsRefusedName) {
  if (!SupportsTmpfile()) GTEST_SKIP() << "the filesystem has no O_TMPFILE";
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_linkat, EINVAL, 0, 0}},
                                    [&] { EXPECT_EQ(bdNamErr, LinkNewFile("file")); }));
}

TEST_F(LinkOpenFileTest, ReportsEachFailure) {
  if (!SupportsTmpfile()) GTEST_SKIP() << "the filesystem has no O_TMPFILE";
  WriteFile(folder_ / "existing", "old");
  MakeLink("nowhere", folder_ / "dangling");
  EXPECT_EQ(dupFNErr, LinkNewFile("existing"));
  EXPECT_EQ(dupFNErr, LinkNewFile("dangling"));
  EXPECT_EQ(bdNamErr, LinkNewFile(std::string(256, 'x')));
  EXPECT_TRUE(
      RunWithInjectedErrors({kNoHardLinks}, [&] { EXPECT_EQ(paramErr, LinkNewFile("file")); }));
  EXPECT_EQ("old", ReadFile(folder_ / "existing"));
  EXPECT_EQ((std::vector<std::string>{"dangling", "existing"}), NamesIn(folder_.path()));
}

}  // namespace
}  // namespace tessary::test
