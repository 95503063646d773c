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
#include "platform/linux/changes/temp_cleanup.h"
#include "platform/managers/file_manager.h"
#include "tests/support/captured_log.h"
#include "tests/support/file_operations.h"
#include "tests/support/injected_errors.h"
#include "tests/support/temporary_folder.h"

namespace {

// What happens at the last moment before the name is renamed away or removed.
std::function<void()> gBeforeRemoval;
std::string gAwaitedPath;

// What happens at the last moment before the name is removed that a "file" gets on its way out.
std::function<void()> gBeforeUnlink;

void ActAt(const char* name, std::function<void()>* action) {
  if (*action && name == gAwaitedPath) std::exchange(*action, nullptr)();
}

}  // namespace

// These stand before the C library's, for this test program.
extern "C" int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  ActAt(from, &gBeforeRemoval);
  return static_cast<int>(syscall(SYS_renameat, fromFolder, from, toFolder, to));
}

extern "C" int unlinkat(int folder, const char* name, int flags) noexcept {
  ActAt(name, &gBeforeRemoval);
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
    gBeforeRemoval = nullptr;
    gBeforeUnlink = nullptr;
  }

  // Saves a new version under the name as editors do, when the name is about to go.
  void SaveNewVersionBeforeRemovalOf(const std::string& name) {
    gAwaitedPath = name;
    gBeforeRemoval = [this, name] { SaveNewVersion(name); };
  }

  void SaveNewVersion(const std::string& name) {
    WriteFile(folder_ / "saving", "newest");
    ASSERT_EQ(0, std::rename((folder_ / "saving").c_str(), (folder_ / name).c_str()));
  }

  void ExpectOnlyNewest(const std::string& name) {
    EXPECT_FALSE(gBeforeRemoval) << "nothing was saved";
    EXPECT_EQ(std::vector<std::string>{name}, NamesIn(folder_.path()));
    EXPECT_EQ("newest", ReadFile(folder_ / name));
  }

  Status Remove(const std::string& name, bool* isDisplaced) {
    const UniqueFd folder = OpenFolder(folder_.path());
    struct statx meant = {};
    if (const Status status = ReadObjectInfo(folder.get(), name.c_str(), &meant)) return status;
    return RemoveIfUnchanged(
        folder.get(), name.c_str(),
        [&meant](const struct statx& info) { return IsUnchangedButForName(meant, info); },
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

// What a crash leaves then is to be known by its name, and filed by it.
TEST_F(Removal, GivesWhatIsAboutToGoANameLikeItsOwn) {
  const UniqueFd folder = OpenFolder(folder_.path());
  const std::string longest = std::string(251, 'n') + ".txt";
  const std::vector<std::pair<std::string, std::string>> names = {
      {"a.tar.gz", "a.tar - UUID.gz"}, {"two..", "two. - UUID."},   {"none", "none - UUID"},
      {"\xff.bin", "\xff - UUID.bin"}, {".hidden", "tessary-UUID"}, {longest, "tessary-UUID"}};
  for (const auto& [name, expected] : names) {
    WriteFile(folder_ / name, "x");
    std::string seen;
    const auto isMeant = [&](const struct statx&) {
      seen = NamesIn(folder_.path()).at(0);
      return true;
    };
    bool isDisplaced = false;
    EXPECT_EQ(noErr, RemoveIfUnchanged(folder.get(), name.c_str(), isMeant, &isDisplaced));
    const std::regex uuid("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
    EXPECT_EQ(expected, std::regex_replace(seen, uuid, "UUID"));
  }
}

TEST_F(Removal, LeavesTheOtherNameOfAHardLink) {
  WriteFile(folder_ / "one", "x");
  ASSERT_EQ(0, link((folder_ / "one").c_str(), (folder_ / "two").c_str()));
  bool isDisplaced = false;
  EXPECT_EQ(noErr, Remove("one", &isDisplaced));
  EXPECT_EQ(std::vector<std::string>{"two"}, NamesIn(folder_.path()));
}

TEST_F(Removal, GivesAnotherObjectItsNameBack) {
  WriteFile(folder_ / "file", "old");
  SaveNewVersionBeforeRemovalOf("file");
  bool isDisplaced = false;
  EXPECT_EQ(fBsyErr, Remove("file", &isDisplaced));
  ExpectOnlyNewest("file");
  EXPECT_FALSE(isDisplaced);
}

TEST_F(Removal, GivesTheNameBackWhereNothingCanBeRemoved) {
  WriteFile(folder_ / "file", "old");
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_unlinkat, EACCES, 0, 0}}, [&] {
    bool isDisplaced = false;
    EXPECT_EQ(afpAccessDenied, Remove("file", &isDisplaced));
    EXPECT_FALSE(isDisplaced);
  }));
  EXPECT_EQ(std::vector<std::string>{"file"}, NamesIn(folder_.path()));
}

// Two savings in a row: the first one's name is taken when it is to be given back.
TEST_F(Removal, KeepsEveryVersionWhereTheNameIsTakenMeanwhile) {
  WriteFile(folder_ / "file", "old");
  gAwaitedPath = "file";
  gBeforeRemoval = [this] { SaveNewVersion("file"); };
  const CapturedLog log;
  const UniqueFd folder = OpenFolder(folder_.path());
  bool isDisplaced = false;
  const auto isMeant = [this](const struct statx&) {
    WriteFile(folder_ / "file", "newer still");
    return false;
  };
  EXPECT_EQ(fBsyErr, RemoveIfUnchanged(folder.get(), "file", isMeant, &isDisplaced));
  EXPECT_TRUE(isDisplaced);
  EXPECT_EQ("newer still", ReadFile(folder_ / "file"));
  // What is kept is in sight and no sweep's business.
  CleanUpFolder(folder.get());
  const std::vector<std::string> names = NamesIn(folder_.path());
  ASSERT_EQ(2U, names.size());
  EXPECT_EQ("newest", ReadFile(folder_ / names[1]));
  EXPECT_TRUE(names[1].starts_with("file - ")) << names[1];
  EXPECT_EQ(
      std::vector<std::string>{"\"file\" could not keep its name and is now \"" + names[1] + "\""},
      log.Messages());
}

TEST_F(Removal, LeavesNothingThatASweepDeletesWhenItIsCutShort) {
  WriteFile(folder_ / "file", "only copy");
  gBeforeUnlink = [this] {
    const UniqueFd folder = OpenFolder(folder_.path());
    CleanUpFolder(folder.get());
    const std::vector<std::string> names = NamesIn(folder_.path());
    ASSERT_EQ(1U, names.size());
    EXPECT_EQ("only copy", ReadFile(folder_ / names[0]));
  };
  bool isDisplaced = false;
  EXPECT_EQ(noErr, Remove("file", &isDisplaced));
  EXPECT_FALSE(gBeforeUnlink);
}

TEST_F(Removal, OfADeletedObjectSparesWhatWasSavedUnderItsName) {
  WriteFile(folder_ / "file", "old");
  MakeLink("nowhere", folder_ / "link");
  for (const char* name : {"file", "link"}) {
    const FSRef old = RefAt(folder_ / name);
    SaveNewVersionBeforeRemovalOf(name);
    EXPECT_EQ(fBsyErr, FSDeleteObject(old)) << name;
    EXPECT_EQ("newest", ReadFile(folder_ / name));
    EXPECT_EQ(fnfErr, FSDeleteObject(old)) << name;
    ASSERT_EQ(noErr, FSDeleteObject(RefAt(folder_ / name)));
  }
  EXPECT_TRUE(NamesIn(folder_.path()).empty());
}

TEST_F(Removal, OfAFolderSparesTheFileThatGotItsName) {
  MakeFolder(folder_ / "folder");
  const FSRef old = RefAt(folder_ / "folder");
  gAwaitedPath = "folder";
  gBeforeRemoval = [this] {
    ASSERT_EQ(0, rmdir((folder_ / "folder").c_str()));
    WriteFile(folder_ / "folder", "newest");
  };
  EXPECT_NE(noErr, FSDeleteObject(old));
  ExpectOnlyNewest("folder");
}

TEST_F(Removal, OfAMovedOriginalSparesWhatWasSavedUnderItsName) {
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(folder_.path(), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the volume of the temporary folder";
  }
  for (const char* name : {"file", "link"}) {
    if (name == std::string_view("file")) {
      WriteFile(folder_ / name, "old");
    } else {
      MakeLink("nowhere", folder_ / name);
    }
    SaveNewVersionBeforeRemovalOf(name);
    EXPECT_EQ(fBsyErr, MoveAcrossAt(folder_ / name, memory / name));
    ExpectOnlyNewest(name);
    EXPECT_TRUE(NamesIn(memory.path()).empty());
    ASSERT_EQ(0, unlink((folder_ / name).c_str()));
  }
}

TEST_F(Removal, OfAMovedOriginalSparesWhatWasWrittenIntoIt) {
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(folder_.path(), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the volume of the temporary folder";
  }
  WriteFile(folder_ / "file", "old");
  gAwaitedPath = "file";
  gBeforeRemoval = [this] { WriteFile(folder_ / "file", "newest"); };
  EXPECT_EQ(fBsyErr, MoveAcrossAt(folder_ / "file", memory / "file"));
  ExpectOnlyNewest("file");
  EXPECT_TRUE(NamesIn(memory.path()).empty());
}

// The copy is taken back because the original stays, and has been saved anew by then.
TEST_F(Removal, OfACopySparesWhatWasSavedUnderItsName) {
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(folder_.path(), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the volume of the temporary folder";
  }
  WriteFile(memory / "file", "original");
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_fsync, EIO, 0, 0}}, [&] {
    SaveNewVersionBeforeRemovalOf("file");
    EXPECT_EQ(ioErr, MoveAcrossAt(memory / "file", folder_ / "file"));
    ExpectOnlyNewest("file");
  }));
  EXPECT_EQ("original", ReadFile(memory / "file"));
}

}  // namespace
}  // namespace tessary::test
