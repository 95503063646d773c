// Runs over special files and unusual names, and with filesystems and permissions that refuse
// changes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "engine/run.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/autorelease_pool.h"
#include "tests/engine/engine_fixture.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/memory_volume.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class RunCornerCases : public EngineFixture {
 protected:
  void Set(const std::string& text) const { preferences_.Write(text); }

  void MakeSocket(const std::string& path) const {
    const int socketFd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(socketFd, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof(address.sun_path));
    path.copy(address.sun_path, path.size());
    EXPECT_EQ(0, bind(socketFd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
    close(socketFd);
  }
};

// The mount of a FUSE driver that has crashed, until it is destroyed: every access to it fails with
// ENOTCONN.
class DeadMount {
 public:
  explicit DeadMount(const std::string& path) : path_(path) {
    const UniqueFd driver(open("/dev/fuse", O_RDWR | O_CLOEXEC));
    const std::string options =
        "fd=" + std::to_string(driver.get()) + ",rootmode=40000,user_id=0,group_id=0";
    isMounted_ = driver && mount("none", path_.c_str(), "fuse", 0, options.c_str()) == 0;
  }
  ~DeadMount() {
    if (isMounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  DeadMount(const DeadMount&) = delete;
  DeadMount& operator=(const DeadMount&) = delete;

  bool IsMounted() const { return isMounted_; }

 private:
  std::string path_;
  bool isMounted_ = false;
};

TEST_F(RunCornerCases, FilesLinksAsLinks) {
  for (const std::string operation : {"1", "2"}) {
    Set("RecurseFolders = true\nFileOperation = " + operation + "\n");
    const TemporaryFolder folder;
    WriteFile(folder / "outside/inside.txt", "outside");
    MakeFolder(folder / "to");
    MakeLink("nowhere", folder / "from/dangling.l");
    MakeLink(folder / "outside", folder / "from/folder.l");
    MakeLink(folder / "outside/inside.txt", folder / "from/file.l");
    MakeLink("b.l", folder / "from/a.l");
    MakeLink("a.l", folder / "from/b.l");
    MakeLink("..", folder / "from/up.l");
    AggregateFolder(RefAt(folder / "from"), RefAt(folder / "to"));
    EXPECT_THAT(NamesIn(folder / "to/l"),
                ElementsAre("a.l", "b.l", "dangling.l", "file.l", "folder.l", "up.l"));
    EXPECT_THAT(NamesIn(folder / "from"), SizeIs(operation == "1" ? 0 : 6));
    EXPECT_THAT(FilesBelow(folder / "outside"), ElementsAre("inside.txt"));
    struct stat info = {};
    ASSERT_EQ(0, lstat((folder / "to/l/folder.l").c_str(), &info));
    EXPECT_TRUE(S_ISLNK(info.st_mode));
  }
}

TEST_F(RunCornerCases, MovesButCopiesNoPipesAndSockets) {
  ASSERT_EQ(0, mkfifo(InSource("a.pipe").c_str(), 0600));
  MakeSocket(InSource("b.sock"));
  Set("FileOperation = 2\n");
  Run();
  EXPECT_THAT(FilesBelow(destination_), IsEmpty());
  EXPECT_THAT(Messages(),
              UnorderedElementsAre(AggregatingLine("source"), "An error occurred: -50",
                                   NotMovedLine(InSource("a.pipe"), InDestination("pipe")),
                                   "An error occurred: -50",
                                   NotMovedLine(InSource("b.sock"), InDestination("sock"))));
  EXPECT_THAT(outcomes_[InSource("a.pipe")], ElementsAre(ItemOutcome::kNotTransferred));
  Set("FileOperation = 1\n");
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("pipe/a.pipe", "sock/b.sock"));
}

TEST_F(RunCornerCases, MovesButCopiesNoDevice) {
  if (mknod(InSource("a.null").c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0) {
    GTEST_SKIP() << "cannot make a device here: " << strerror(errno);
  }
  Set("FileOperation = 2\n");
  Run();
  EXPECT_THAT(FilesBelow(destination_), IsEmpty());
  EXPECT_THAT(outcomes_[InSource("a.null")], ElementsAre(ItemOutcome::kNotTransferred));
  Set("FileOperation = 1\n");
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("null/a.null"));
}

TEST_F(RunCornerCases, MovesPipeByDateWithoutOpening) {
  ASSERT_EQ(0, mkfifo(InSource("a.pipe").c_str(), 0600));
  SetModificationDate(InSource("a.pipe"), 1236164645);
  Set("FileOperation = 1\nTessaryType = 4\n");
  Run();
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("2009/Mar 04, 2009/a.pipe"));
}

TEST_F(RunCornerCases, FilesUnusualNames) {
  Set("FileOperation = 1\n");
  const std::string names[] = {"a\xff.t",      "new\nline.t", "%@ %s %n.t",
                               "\"quoted\".t", "'.t",         "\\.t",
                               " .t",          "-rf.t",       "50:50.t",
                               "\x1b[2J.t",    "x..t",        std::string(253, 'x') + ".t",
                               "\xc3\xa9.t",   "$(id).t"};
  for (const std::string& name : names) WriteFile(InSource(name), name);
  ASSERT_EQ(0, link(InSource("x..t").c_str(), InSource("hard.t").c_str()));
  Run();
  EXPECT_THAT(NamesIn(source_), IsEmpty());
  for (const std::string& name : names) EXPECT_EQ(name, ReadFile(InDestination("t/" + name)));
  EXPECT_EQ("x..t", ReadFile(InDestination("t/hard.t")));
  EXPECT_THAT(Messages(), Contains(MovedLine("%@ %s %n.t", "t")));
  EXPECT_THAT(Messages(), Contains(MovedLine("new\\nline.t", "t")));
  EXPECT_THAT(Messages(), SizeIs(std::size(names) + 2));
}

TEST_F(RunCornerCases, FilesUnusualExtensions) {
  Set("FileOperation = 1\n");
  const std::string extensions[] = {"\xff", "new\nline", "%@",  "\"q\"", " ",
                                    "a:b",  "\xc3\xa9",  "-rf", "~",     std::string(250, 'e')};
  for (const std::string& extension : extensions) WriteFile(InSource("n." + extension), extension);
  Run();
  EXPECT_THAT(NamesIn(source_), IsEmpty());
  for (const std::string& extension : extensions) {
    std::string path = InDestination(extension);
    EXPECT_EQ(extension, ReadFile(path.append("/n.").append(extension)));
  }
}

TEST_F(RunCornerCases, KeepsItemWithTooLongDistinctName) {
  Set("FileOperation = 1\n");
  const std::string name = std::string(251, 'x') + ".txt";
  WriteFile(InSource(name), "new");
  WriteFile(InDestination("txt/" + name), "old");
  Run();
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), "An error occurred: -37",
                                      NotMovedLine(InSource(name), InDestination("txt"))));
  EXPECT_EQ("new", ReadFile(InSource(name)));
  EXPECT_EQ("old", ReadFile(InDestination("txt/" + name)));
}

TEST_F(RunCornerCases, MovesNoPackageIntoItself) {
  for (const std::string operation : {"1", "2"}) {
    Set("FileOperation = " + operation + "\n");
    const TemporaryFolder folder;
    const std::string application = folder / "source/Tool.app";
    MakeFolder(application + "/Contents/filed");
    WriteFile(folder / "source/a.txt", "a");
    AggregateFolder(RefAt(folder / "source"), RefAt(application + "/Contents/filed"));
    EXPECT_EQ("a", ReadFile(application + "/Contents/filed/txt/a.txt"));
    EXPECT_THAT(FilesBelow(application), ElementsAre("Contents/filed/txt/a.txt"));
    EXPECT_THAT(Messages(), Contains("An error occurred: -122"));
    EXPECT_THAT(Messages(),
                Contains(NotMovedLine(application, application + "/Contents/filed/app")));
  }
}

TEST_F(RunCornerCases, SourceIsDestination) {
  Set("FileOperation = 1\nRecurseFolders = true\n");
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("txt"), "existing");
  AggregateFolder(RefAt(source_), RefAt(source_));
  EXPECT_EQ("a", ReadFile(InSource("a.txt")));
  EXPECT_EQ("existing", ReadFile(InSource("txt")));
}

TEST_F(RunCornerCases, FollowsNoLinkNamedLikeKey) {
  Set("FileOperation = 1\n");
  MakeFolder(root_ / "elsewhere");
  MakeLink(root_ / "elsewhere", InDestination("txt"));
  WriteFile(InSource("a.txt"), "a");
  Run();
  EXPECT_THAT(NamesIn(root_ / "elsewhere"), IsEmpty());
  EXPECT_EQ("a", ReadFile(InSource("a.txt")));
  EXPECT_EQ(NotMovedLine(InSource("a.txt"), InDestination("txt")), Messages().back());
}

TEST_F(RunCornerCases, FollowsNoLinkThatReplacesKeyFolder) {
  Set("FileOperation = 1\n");
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  MakeFolder(root_ / "elsewhere");
  int items = 0;
  onProgress_ = [&](const std::string&) {
    if (++items != 2) return;
    ASSERT_EQ(0, rename(InDestination("txt").c_str(), (root_ / "away").c_str()));
    MakeLink(root_ / "elsewhere", InDestination("txt"));
  };
  Run();
  EXPECT_THAT(NamesIn(root_ / "elsewhere"), IsEmpty());
  EXPECT_THAT(NamesIn(root_ / "away"), SizeIs(1));
  EXPECT_THAT(NamesIn(source_), SizeIs(1));
}

TEST_F(RunCornerCases, UnreadableFileIsNotCopied) {
  Set("FileOperation = 2\n");
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod(InSource("a.txt").c_str(), 0));
  EXPECT_TRUE(RunAsOrdinaryUser([this] { Run(); }));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/b.txt"));
  EXPECT_THAT(Messages(),
              UnorderedElementsAre(AggregatingLine("source"), MovedLine("b.txt", "txt"),
                                   "An error occurred: -5000",
                                   NotMovedLine(InSource("a.txt"), InDestination("txt"))));
}

TEST_F(RunCornerCases, FileMadeUnreadableIsNotCopied) {
  Set("FileOperation = 2\n");
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  OpenToOrdinaryUser();
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    std::string closed;
    onProgress_ = [&](const std::string& text) {
      if (!closed.empty()) return;
      closed = InSource(text == MovingLine(InSource("a.txt")) ? "b.txt" : "a.txt");
      EXPECT_EQ(0, chmod(closed.c_str(), 0));
    };
    Run();
    EXPECT_THAT(outcomes_[closed], ElementsAre(ItemOutcome::kNotTransferred));
  }));
  EXPECT_THAT(FilesBelow(destination_), SizeIs(1));
  EXPECT_THAT(NamesIn(source_), ElementsAre("a.txt", "b.txt"));
}

TEST_F(RunCornerCases, UnreadableFileIsMoved) {
  Set("FileOperation = 1\n");
  WriteFile(InSource("a.txt"), "a");
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod(InSource("a.txt").c_str(), 0));
  EXPECT_TRUE(RunAsOrdinaryUser([this] { Run(); }));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/a.txt"));
}

TEST_F(RunCornerCases, ReportsUnreadableFolder) {
  Set("FileOperation = 1\nRecurseFolders = true\n");
  WriteFile(InSource("closed/a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod(InSource("closed").c_str(), 0));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    Run();
    EXPECT_THAT(outcomes_[InSource("closed")],
                ElementsAre(ItemOutcome::kFolderNotListed, ItemOutcome::kFolderNotListed));
  }));
  EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/b.txt"));
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), MovedLine("b.txt", "txt")));
}

// The first statx of the folder belongs to the listing, the second is the one that fails.
TEST_F(RunCornerCases, ReportsFolderWithFailingStat) {
  Set("FileOperation = 1\nRecurseFolders = true\n");
  WriteFile(InSource("failing/a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  RunWithPausedCalls({{SYS_statx, "failing", 2, {}, EIO}}, [this] {
    Run();
    EXPECT_THAT(outcomes_[InSource("failing")], Contains(ItemOutcome::kFolderNotListed));
    EXPECT_EQ("a", ReadFile(InSource("failing/a.txt")));
    EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/b.txt"));
  });
}

// What cannot be examined concerns itself only.
TEST_F(RunCornerCases, FilesItemsBesideDeadMount) {
  Set("FileOperation = 1\nRecurseFolders = true\nTessaryType = 4\n");
  MakeFolder(InSource("dead"));
  MakeFolder(InDestination("dead"));
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("sound/b.txt"), "b");
  const DeadMount inSource(InSource("dead"));
  const DeadMount inDestination(InDestination("dead"));
  if (!inSource.IsMounted()) GTEST_SKIP() << "cannot mount here";
  Run();
  EXPECT_THAT(NamesIn(InSource("sound")), IsEmpty());
  EXPECT_THAT(NamesIn(source_), ElementsAre("dead", "sound"));
  for (const std::string& dead : {InSource("dead"), InDestination("dead")}) {
    EXPECT_THAT(outcomes_[dead], Contains(ItemOutcome::kFolderNotListed));
  }
  EXPECT_THAT(MessagesAfterFirst(), Contains("Inavlid FSRef"));
  std::vector<std::string> filed;
  for (const auto& [path, outcomes] : outcomes_) {
    if (outcomes == std::vector{ItemOutcome::kFiled}) filed.push_back(path);
  }
  // Each of the two in two steps.
  EXPECT_THAT(filed, SizeIs(4));
}

TEST_F(RunCornerCases, ReportsFolderWithUnreadableFinderInfo) {
  Set("FileOperation = 1\nRecurseFolders = true\n");
  WriteFile(InSource("failing/a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  constexpr long kListXattrAt = 465;
  const bool isPassed =
      RunWithInjectedErrors({{SYS_llistxattr, EIO, 0, 0}, {kListXattrAt, EIO, 0, 0}}, [this] {
        Run();
        EXPECT_THAT(outcomes_[InSource("failing")], Contains(ItemOutcome::kFolderNotListed));
        EXPECT_EQ("a", ReadFile(InSource("failing/a.txt")));
        EXPECT_THAT(outcomes_[InSource("b.txt")], ElementsAre(ItemOutcome::kFiled));
      });
  EXPECT_TRUE(isPassed);
}

// Two subfolders with a file each: the one that is entered first changes the other.
class RunOverSubfolders : public RunCornerCases {
 protected:
  RunOverSubfolders() {
    Set("FileOperation = 1\nRecurseFolders = true\n");
    WriteFile(InSource("a/a.txt"), "a");
    WriteFile(InSource("b/b.txt"), "b");
    onProgress_ = [this](const std::string& text) {
      if (!other_.empty()) return;
      other_ = InSource(text.ends_with("a.txt") ? "b" : "a");
      ASSERT_EQ(0, rename(other_.c_str(), (root_ / "elsewhere").c_str()));
      if (change_) change_();
    };
  }

  std::string other_;
  std::function<void()> change_;
};

TEST_F(RunOverSubfolders, ReportsNoVanishedFolder) {
  Run();
  ASSERT_FALSE(other_.empty());
  EXPECT_THAT(outcomes_, SizeIs(1));
  EXPECT_THAT(FilesBelow(destination_), SizeIs(1));
}

TEST_F(RunOverSubfolders, ReportsReplacedFolder) {
  change_ = [this] { MakeFolder(other_); };
  Run();
  ASSERT_FALSE(other_.empty());
  EXPECT_THAT(outcomes_[other_], ElementsAre(ItemOutcome::kFolderNotListed));
  EXPECT_THAT(FilesBelow(destination_), SizeIs(1));
}

// Containers mount single files.
class RunWithMountedFile : public RunCornerCases {
 protected:
  void SetUp() override {
    WriteFile(InSource("a.txt"), "below");
    WriteFile(root_ / "elsewhere.txt", "mounted");
    const int result = mount((root_ / "elsewhere.txt").c_str(), InSource("a.txt").c_str(), nullptr,
                             MS_BIND, nullptr);
    if (result != 0) GTEST_SKIP() << "cannot mount here: " << strerror(errno);
  }

  ~RunWithMountedFile() override { umount2(InSource("a.txt").c_str(), MNT_DETACH); }
};

TEST_F(RunWithMountedFile, CopiesFile) {
  Set("FileOperation = 2\n");
  Run();
  EXPECT_EQ("mounted", ReadFile(InDestination("txt/a.txt")));
  EXPECT_THAT(MessagesAfterFirst(), ElementsAre(MovedLine("a.txt", "txt")));
  EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kFiled));
}

TEST_F(RunWithMountedFile, ReportsBusyFileThatIsMoved) {
  Set("FileOperation = 1\n");
  Run();
  EXPECT_THAT(FilesBelow(destination_), IsEmpty());
  EXPECT_EQ("mounted", ReadFile(InSource("a.txt")));
  EXPECT_THAT(
      MessagesAfterFirst(),
      ElementsAre("An error occurred: -47", NotMovedLine(InSource("a.txt"), InDestination("txt"))));
  EXPECT_THAT(reports_, ElementsAre(InSource("a.txt") + ": not transferred, -47, in " +
                                    InDestination("txt")));
}

TEST_F(RunCornerCases, ReadOnlySourceFolder) {
  Set("FileOperation = 1\n");
  WriteFile(InSource("a.txt"), "a");
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod(source_.c_str(), 0555));
  EXPECT_TRUE(RunAsOrdinaryUser([this] { Run(); }));
  EXPECT_EQ("a", ReadFile(InSource("a.txt")));
  EXPECT_THAT(FilesBelow(destination_), IsEmpty());
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source"), "An error occurred: -5000",
                                      NotMovedLine(InSource("a.txt"), InDestination("txt"))));
}

TEST_F(RunCornerCases, ReadOnlyDestinationFolder) {
  Set("FileOperation = 1\n");
  WriteFile(InSource("a.txt"), "a");
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod(destination_.c_str(), 0555));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    Run();
    EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kNoKeyFolder));
  }));
  EXPECT_EQ("a", ReadFile(InSource("a.txt")));
  EXPECT_THAT(Messages(), ElementsAre(AggregatingLine("source")));
}

TEST_F(RunCornerCases, ReadOnlyFilesystem) {
  MemoryVolume volume("size=256k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  MakeFolder(volume / "txt");
  volume.MakeReadOnly();
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("b.new"), "b");
  for (const std::string operation : {"1", "2"}) {
    Set("FileOperation = " + operation + "\n");
    const size_t before = Messages().size();
    AggregateFolder(RefAt(source_), RefAt(volume.path()));
    std::vector<std::string> messages = Messages();
    messages.erase(messages.begin(), messages.begin() + static_cast<ptrdiff_t>(before));
    EXPECT_THAT(messages, ElementsAre(AggregatingLine("source"), "An error occurred: -44",
                                      NotMovedLine(InSource("a.txt"), volume / "txt")));
  }
  EXPECT_THAT(NamesIn(source_), ElementsAre("a.txt", "b.new"));
}

TEST_F(RunCornerCases, FullFilesystem) {
  const MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  WriteFile(InSource("small.txt"), "small");
  WriteFile(InSource("large.txt"), std::string(300000, 'x'));
  for (const std::string operation : {"2", "1"}) {
    Set("ReplaceFilesBySameName = true\nFileOperation = " + operation + "\n");
    AggregateFolder(RefAt(source_), RefAt(volume.path()));
    EXPECT_THAT(FilesBelow(volume.path()), ElementsAre("txt/small.txt"));
    EXPECT_THAT(Messages(), Contains("An error occurred: -34").Times(operation == "2" ? 1 : 2));
  }
  EXPECT_THAT(NamesIn(source_), ElementsAre("large.txt"));
  EXPECT_EQ(std::string(300000, 'x'), ReadFile(InSource("large.txt")));
  EXPECT_EQ("small", ReadFile(volume / "txt/small.txt"));
}

// The state after a move that was killed while it deleted a package of the source.
TEST_F(RunCornerCases, MoveCleansUpSourceFolders) {
  const std::string staleName = ".tessary-0F6B0C58-6A4A-4C0E-9F0B-0123456789AB";
  WriteFile(InSource(staleName + "/Contents/rest"));
  WriteFile(InSource("below/" + staleName + "/rest"));
  WriteFile(InSource(".tessary-mine/kept"));
  Set("RecurseFolders = true\nFileOperation = 2\n");
  Run();
  EXPECT_THAT(NamesIn(source_), ElementsAre(staleName, ".tessary-mine", "below"));
  Set("RecurseFolders = true\nFileOperation = 1\n");
  Run();
  EXPECT_THAT(FilesBelow(source_), ElementsAre(".tessary-mine/kept"));
  EXPECT_THAT(NamesIn(InSource("below")), IsEmpty());
}

TEST_F(RunCornerCases, RunByDateCleansUpYearFolders) {
  WriteFile(InDestination("2009/.tessary-0F6B0C58-6A4A-4C0E-9F0B-0123456789AB"));
  Set("TessaryType = 4\nFileOperation = 2\n");
  Run();
  EXPECT_THAT(NamesIn(InDestination("2009")), IsEmpty());
}

// The folder changes after it has been opened: it is not listed again, which would file each item
// twice.
TEST_F(RunCornerCases, ListsChangingFolderOnce) {
  Set("FileOperation = 2\n");
  WriteFile(InSource("a.txt"));
  WriteFile(InSource("b.txt"));
  const auto addFile = [this] { WriteFile(InSource("new.txt")); };
  // The first two calls read the destination.
  RunWithPausedCalls({{SYS_getdents64, "", 3, addFile}}, [this] {
    Run();
    EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kFiled));
    EXPECT_THAT(outcomes_[InSource("b.txt")], ElementsAre(ItemOutcome::kFiled));
    EXPECT_THAT(FilesBelow(destination_), ElementsAre("txt/a.txt", "txt/b.txt", "txt/new.txt"));
  });
}

// A folder on a case-insensitive filesystem: in memory or, where the kernel has none, on exFAT.
class CaseInsensitiveFolder {
 public:
  CaseInsensitiveFolder() {
    if (memory_.IsMounted()) {
      path_ = memory_ / "to";
      MakeFolder(path_);
      const UniqueFd folder(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      const int foldsCase = FS_CASEFOLD_FL;
      if (ioctl(folder.get(), FS_IOC_SETFLAGS, &foldsCase) == 0) return;
    }
    exfat_.emplace(VolumeKind::kExfat, "", 16);
    path_ = exfat_->IsAvailable() ? exfat_->path() : "";
  }

  // Empty where there is neither.
  const std::string& path() const { return path_; }

 private:
  MemoryVolume memory_{"size=256k,casefold"};
  std::optional<ScratchVolume> exfat_;
  std::string path_;
};

TEST_F(RunCornerCases, CaseInsensitiveFilesystem) {
  const CaseInsensitiveFolder to;
  if (to.path().empty()) GTEST_SKIP() << "cannot mount a case-insensitive filesystem";
  // Closes the folders that the catalog holds open: the filesystem's driver ends after that.
  const NSAutoreleasePool pool;
  WriteFile(InSource("a.JPG"), "a");
  WriteFile(InSource("b.jpg"), "b");
  AggregateFolder(RefAt(source_), RefAt(to.path()));
  const std::vector<std::string> folders = NamesIn(to.path());
  ASSERT_THAT(folders, SizeIs(1));
  EXPECT_THAT(NamesIn(to.path() + "/" + folders[0]), ElementsAre("a.JPG", "b.jpg"));
}

TEST_F(RunCornerCases, ReplacesOnCaseInsensitiveFilesystem) {
  const CaseInsensitiveFolder to;
  if (to.path().empty()) GTEST_SKIP() << "cannot mount a case-insensitive filesystem";
  // Closes the folders that the catalog holds open: the filesystem's driver ends after that.
  const NSAutoreleasePool pool;
  WriteFile(to.path() + "/txt/A.txt", "old");
  WriteFile(InSource("a.txt"), "new");
  AggregateFolder(RefAt(source_), RefAt(to.path()));
  EXPECT_EQ("old", ReadFile(to.path() + "/txt/A.txt"));
  EXPECT_THAT(NamesIn(to.path() + "/txt"), SizeIs(2));
  Set("ReplaceFilesBySameName = true\n");
  AggregateFolder(RefAt(source_), RefAt(to.path()));
  EXPECT_THAT(NamesIn(to.path() + "/txt"), Contains("a.txt"));
  EXPECT_EQ("new", ReadFile(to.path() + "/txt/a.txt"));
  EXPECT_THAT(NamesIn(to.path() + "/txt"), SizeIs(2));
}

}  // namespace
}  // namespace tessary::test
