#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/faults/errors/inventory.h"
#include "tests/faults/errors/scenario.h"
#include "tests/support/memory_volume.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Runs of the program against what volumes and folders really refuse.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr InventoryRules kContents = {.ignoresComments = true, .isContentsOnly = true};

std::vector<std::string> ContentsIn(const std::string& folder) {
  std::vector<std::string> contents;
  for (const FoundItem& item : TakeInventory(folder, kContents)) contents.push_back(item.contents);
  std::sort(contents.begin(), contents.end());
  return contents;
}

std::vector<std::string> MergeSorted(std::vector<std::string> first,
                                     const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  std::sort(first.begin(), first.end());
  return first;
}

// A source on one volume and a destination on another or the same.
class RealLimits : public testing::Test {
 protected:
  // Files the source into the destination and checks what always holds: every content that was in
  // either is afterwards where it may be, whole, and nothing hidden is left over.
  SupervisedResult Aggregate(const std::string& operation, const std::string& source,
                             const std::string& destination,
                             const std::string& kind = "extension") {
    const std::vector<std::string> sourceBefore = ContentsIn(source);
    const std::vector<std::string> destinationBefore = ContentsIn(destination);
    SupervisedResult result = RunWithoutFaults(
        {"aggregate", "--recurse", "--kind", kind, operation, source, destination}, config_.path());
    EXPECT_EQ(0, result.signal) << result.output;
    EXPECT_FALSE(result.hasTimedOut) << result.output;
    const std::vector<std::string> sourceNow = ContentsIn(source);
    const std::vector<std::string> destinationNow = ContentsIn(destination);
    if (operation == "--move") {
      EXPECT_EQ(MergeSorted(sourceBefore, destinationBefore),
                MergeSorted(sourceNow, destinationNow))
          << result.output;
    } else {
      EXPECT_EQ(sourceBefore, sourceNow) << result.output;
      const std::vector<std::string> allowed = MergeSorted(sourceBefore, destinationBefore);
      EXPECT_TRUE(std::includes(allowed.begin(), allowed.end(), destinationNow.begin(),
                                destinationNow.end()))
          << result.output;
    }
    if (!mayLeaveTempFiles_) {
      EXPECT_THAT(FindTempFiles(source), IsEmpty()) << result.output;
      EXPECT_THAT(FindTempFiles(destination), IsEmpty()) << result.output;
    }
    return result;
  }

  const TemporaryFolder config_;
  const TemporaryFolder scratch_;
  bool mayLeaveTempFiles_ = false;
};

// A volume in memory that nobody but this process sees; null with the reason where there is none.
std::unique_ptr<MemoryVolume> MountTmpfs(const std::string& options, std::string* reason) {
  if (!EnterMountNamespace(reason)) return nullptr;
  auto volume = std::make_unique<MemoryVolume>(options);
  if (volume->IsMounted()) return volume;
  *reason = "no volume in memory can be mounted";
  return nullptr;
}

// Gives the file or folder one of the two flags of chattr that fix it, or takes both; false where
// the volume or this user cannot.
bool SetFlags(const std::string& path, int flags) {
  const UniqueFd opened(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  int all = 0;
  if (!opened || ioctl(opened.get(), FS_IOC_GETFLAGS, &all) != 0) return false;
  all = (all & ~(FS_IMMUTABLE_FL | FS_APPEND_FL)) | flags;
  return ioctl(opened.get(), FS_IOC_SETFLAGS, &all) == 0;
}

void FillWithKilobytes(const std::string& folder, int files) {
  for (int i = 0; i < files; ++i) {
    WriteFile(folder + "/" + std::to_string(i) + ".txt",
              std::to_string(i) + std::string(16'000, 'x'));
  }
  WriteFile(folder + "/Big.app/Contents/a", std::string(40'000, 'a'));
  WriteFile(folder + "/Big.app/Contents/b", std::string(40'000, 'b'));
}

TEST_F(RealLimits, OfRoomLeaveWhatDoesNotFitWhereItIs) {
  for (const std::string options : {"size=128k", "size=4m,nr_inodes=12"}) {
    for (const std::string operation : {"--copy", "--move"}) {
      std::string reason;
      const auto volume = MountTmpfs(options, &reason);
      if (!volume) GTEST_SKIP() << reason;
      const TemporaryFolder source;
      FillWithKilobytes(source.path(), 12);
      const SupervisedResult result = Aggregate(operation, source.path(), volume->path());
      EXPECT_EQ(3, result.exitStatus) << result.output;
      EXPECT_THAT(result.output, HasSubstr("An error occurred: -34")) << options;
      EXPECT_THAT(FilesBelow(volume->path()), Not(IsEmpty())) << options << operation;
    }
  }
}

TEST_F(RealLimits, OfAReadOnlyVolumeLeaveEverything) {
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

TEST_F(RealLimits, OfFixedFilesKeepThemWhereTheyAre) {
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
    // What is in a package does not keep the package from being renamed.
    fs::remove_all(top + "/destination");
    MakeFolder(top + "/destination");
    EXPECT_EQ(3, Aggregate("--move", top + "/source", top + "/destination").exitStatus);
    EXPECT_TRUE(Exists(top + "/source/fixed.txt"));
    EXPECT_TRUE(Exists(top + "/destination/app/Thing.app/Contents/fixed"));
    EXPECT_TRUE(SetFlags(top + "/source/fixed.txt", 0));
    EXPECT_TRUE(SetFlags(top + "/destination/app/Thing.app/Contents/fixed", 0));
  }
}

TEST_F(RealLimits, OfFixedFoldersLeaveWhatIsInThem) {
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
    // What can only be added to keeps the hidden folder that could not be given its name.
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

TEST_F(RealLimits, OfAStickyFolderLeaveAnotherOwnersFile) {
  if (geteuid() != 0) GTEST_SKIP() << "another owner's file needs root to make it";
  for (const std::string& parent : {scratch_.path(), std::string("/dev/shm")}) {
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

// Makes a folder inside the other and another inside that, whose paths no call could take, each
// with a file in it.
void MakeDeepTree(const std::string& top, int levels) {
  UniqueFd folder(open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::string name(200, 'd');
  for (int i = 0; i < levels; ++i) {
    const std::string text = "level " + std::to_string(i);
    const UniqueFd file(openat(folder.get(), "file.txt", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    EXPECT_EQ(static_cast<ssize_t>(text.size()), write(file.get(), text.data(), text.size()));
    EXPECT_EQ(0, mkdirat(folder.get(), name.c_str(), 0755));
    folder = UniqueFd(openat(folder.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(folder);
  }
}

// The files of such a tree, from its innermost folder up, which are removed as they are counted.
int RemoveDeepTree(const std::string& top) {
  std::vector<UniqueFd> folders;
  folders.emplace_back(open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::string name(200, 'd');
  while (true) {
    UniqueFd next(openat(folders.back().get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!next) break;
    folders.push_back(std::move(next));
  }
  int files = 0;
  for (; !folders.empty(); folders.pop_back()) {
    if (unlinkat(folders.back().get(), "file.txt", 0) == 0) ++files;
    // The innermost has no folder in it.
    (void)unlinkat(folders.back().get(), name.c_str(), AT_REMOVEDIR);
  }
  return files;
}

TEST_F(RealLimits, OfPathsPassOverWhatLiesTooDeep) {
  constexpr int kLevels = 40;
  const std::string source = scratch_ / "source";
  const std::string destination = scratch_ / "destination";
  MakeFolder(source);
  MakeFolder(destination);
  MakeDeepTree(source, kLevels);
  for (const std::string kind : {"extension", "modification-date"}) {
    const SupervisedResult result = RunWithoutFaults(
        {"aggregate", "--recurse", "--kind", kind, "--move", source, destination}, config_.path());
    EXPECT_EQ(3, result.exitStatus) << kind;
    EXPECT_THAT(result.output, HasSubstr(": not filed: ")) << kind;
  }
  const auto filed = static_cast<int>(FilesBelow(destination).size());
  EXPECT_GT(filed, 5);
  EXPECT_EQ(kLevels - filed, RemoveDeepTree(source));
}

TEST_F(RealLimits, OfPathsDoNotHoldForWhatIsInAPackage) {
  constexpr int kLevels = 40;
  const std::string across = "/dev/shm";
  const TemporaryFolder destination(fs::is_directory(across) ? across : scratch_.path());
  MakeFolder(scratch_ / "source/Deep.app");
  MakeDeepTree(scratch_ / "source/Deep.app", kLevels);
  const SupervisedResult result = RunWithoutFaults(
      {"aggregate", "--kind", "extension", "--move", scratch_ / "source", destination.path()},
      config_.path());
  EXPECT_EQ(0, result.exitStatus) << result.output;
  EXPECT_FALSE(Exists(scratch_ / "source/Deep.app"));
  EXPECT_EQ(kLevels, RemoveDeepTree(destination / "app/Deep.app"));
}

TEST_F(RealLimits, OfNamesLeaveAnItemThatCanHaveNoOtherName) {
  const std::string name = std::string(251, 'n') + ".txt";
  for (const std::string operation : {"--copy", "--move"}) {
    const std::string top = scratch_ / operation;
    const std::string source = top + "/source";
    const std::string incoming = fs::path(source) / name;
    const std::string existing = fs::path(top) / "destination/txt" / name;
    WriteFile(incoming, "incoming");
    WriteFile(top + "/source/other.txt", "other");
    WriteFile(existing, "there already");
    const SupervisedResult result = Aggregate(operation, source, top + "/destination");
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(result.output, HasSubstr("An error occurred: -37"));
    EXPECT_EQ("incoming", ReadFile(incoming));
    EXPECT_EQ("there already", ReadFile(existing));
    EXPECT_EQ("other", ReadFile(top + "/destination/txt/other.txt"));
  }
}

// A file of five gigabytes with something near its end, of which almost all is a hole.
void MakeHugeFile(const std::string& path) {
  WriteFile(path, "begins");
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(5LL << 30);
  file << "ends";
}

std::string EndOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(5LL << 30);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST_F(RealLimits, OfThirtyTwoBitsDoNotHold) {
  const TemporaryFolder across(fs::is_directory("/dev/shm") ? "/dev/shm" : scratch_.path());
  MakeFolder(scratch_ / "destination");
  MakeHugeFile(scratch_ / "source/huge.img");
  const auto file = [this](const std::string& operation, const std::string& destination) {
    return RunWithoutFaults(
        {"aggregate", "--kind", "extension", operation, scratch_ / "source", destination},
        config_.path());
  };
  EXPECT_EQ(0, file("--copy", scratch_ / "destination").exitStatus);
  EXPECT_EQ(0, file("--move", across.path()).exitStatus);
  for (const std::string& path : {scratch_ / "destination/img/huge.img", across / "img/huge.img"}) {
    struct stat info = {};
    ASSERT_EQ(0, stat(path.c_str(), &info)) << path;
    EXPECT_EQ((5LL << 30) + 4, info.st_size);
    EXPECT_LT(info.st_blocks * 512, 1 << 20) << path;
    EXPECT_EQ("ends", EndOf(path));
  }
  EXPECT_FALSE(Exists(scratch_ / "source/huge.img"));
}

TEST_F(RealLimits, OfTheLinksOfOneFileDoNotPartThem) {
  if (SoakSeconds() == 0) GTEST_SKIP() << "65,000 links take too long for a short run";
  const ScratchVolume volume(VolumeKind::kExt4, {}, 320);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  const std::string inside = volume / "source/Links.app/Contents";
  WriteFile(inside + "/0", "linked");
  int links = 1;
  while (link((inside + "/0").c_str(), (inside + "/" + std::to_string(links)).c_str()) == 0) {
    ++links;
  }
  ASSERT_EQ(EMLINK, errno);
  EXPECT_EQ(65'000, links);
  MakeFolder(volume / "destination");
  const SupervisedResult result = RunWithoutFaults(
      {"aggregate", "--kind", "extension", "--copy", volume / "source", volume / "destination"},
      config_.path());
  EXPECT_EQ(0, result.exitStatus) << result.output;
  const std::string copied = volume / "destination/app/Links.app/Contents";
  EXPECT_EQ(static_cast<size_t>(links), FilesBelow(copied).size());
  struct stat info = {};
  ASSERT_EQ(0, stat((copied + "/0").c_str(), &info));
  // One of them all would be too many while it is copied, so that one stands by itself.
  EXPECT_GE(info.st_nlink, 64'999U - 1);
}

TEST_F(RealLimits, OfABindMountKeepAFolderFromGoingIntoItself) {
  std::string reason;
  if (!EnterMountNamespace(&reason)) GTEST_SKIP() << reason;
  const std::string source = scratch_ / "source";
  WriteFile(source + "/a.txt", "a");
  WriteFile(source + "/Thing.app/Contents/b", "b");
  MakeFolder(source + "/Thing.app/inside");
  MakeFolder(scratch_ / "bound");
  // The destination is a folder of the very package that would go there.
  ASSERT_EQ(0, mount((source + "/Thing.app/inside").c_str(), (scratch_ / "bound").c_str(), nullptr,
                     MS_BIND, nullptr));
  const SupervisedResult result = RunWithoutFaults(
      {"aggregate", "--kind", "extension", "--move", source, scratch_ / "bound"}, config_.path());
  EXPECT_EQ(3, result.exitStatus) << result.output;
  EXPECT_THAT(result.output, HasSubstr("An error occurred: -122"));
  EXPECT_EQ("b", ReadFile(source + "/Thing.app/Contents/b"));
  EXPECT_EQ("a", ReadFile(scratch_ / "bound/txt/a.txt"));
  EXPECT_EQ(0, umount2((scratch_ / "bound").c_str(), MNT_DETACH));
}

TEST_F(RealLimits, OfABindMountKeepWhatIsMountedOver) {
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

// Two volumes of which the one is of each kind in turn.
class EachVolume : public RealLimits, public testing::WithParamInterface<VolumeKind> {
 protected:
  static void Fill(const std::string& folder) {
    WriteFile(folder + "/report.txt", "report");
    WriteFile(folder + "/Makefile", "no key");
    WriteFile(folder + "/large.bin", std::string(700'000, 'l'));
    WriteFile(folder + "/below/other.txt", "other");
    WriteFile(folder + "/below/Thing.app/Contents/a", "inside");
    (void)SetAttribute(folder + "/report.txt", "user.note", "note");
  }
};

TEST_P(EachVolume, IsFiledToAndFromWithNothingLost) {
  const ScratchVolume volume(GetParam());
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  Fill(scratch_ / "source");
  MakeFolder(volume / "there");
  MakeFolder(volume / "within");
  MakeFolder(scratch_ / "back");
  EXPECT_EQ(0, Aggregate("--copy", scratch_ / "source", volume / "there").exitStatus);
  fs::remove_all(volume / "there");
  MakeFolder(volume / "there");
  // There, within the volume by another kind of key, which may hold a "/", and back again.
  EXPECT_EQ(0, Aggregate("--move", scratch_ / "source", volume / "there", "mime-type").exitStatus);
  EXPECT_EQ(0, Aggregate("--move", volume / "there", volume / "within").exitStatus);
  EXPECT_EQ(0, Aggregate("--move", volume / "within", scratch_ / "back").exitStatus);
  EXPECT_EQ(std::vector<std::string>(
                {"app/Thing.app/Contents/a", "bin/large.bin", "txt/other.txt", "txt/report.txt"}),
            FilesBelow(scratch_ / "back"));
}

TEST_P(EachVolume, TakesOrRefusesStrangeNamesWhole) {
  const ScratchVolume volume(GetParam());
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  MakeFolder(volume / "there");
  const std::vector<std::string> names = {"what?.txt", "star*.txt",   "a:b.txt",  "bar|.txt",
                                          "q\"q.txt",  "back\\.txt",  "dot..txt", "caf\xe9.txt",
                                          "con.txt",   "line\n2.txt", "<a>.txt",  " blank.txt"};
  for (const std::string& name : names) WriteFile(scratch_ / "source/" + name, name);
  const SupervisedResult result = Aggregate("--move", scratch_ / "source", volume / "there");
  EXPECT_EQ(0, result.exitStatus) << result.output;
  EXPECT_THAT(FilesBelow(scratch_ / "source"), IsEmpty());
}

TEST_P(EachVolume, LeavesAPackageWithLinksWholeWhereverItIs) {
  const ScratchVolume volume(GetParam());
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  MakeFolder(volume / "there");
  const std::string inside = scratch_ / "source/Thing.app/Contents";
  WriteFile(inside + "/a", "linked");
  fs::create_hard_link(inside + "/a", inside + "/b");
  MakeLink("a", inside + "/current");
  WriteFile(scratch_ / "source/plain.txt", "plain");
  const SupervisedResult result = Aggregate("--move", scratch_ / "source", volume / "there");
  EXPECT_EQ(volume.Traits().hasSymbolicLinks ? 0 : 3, result.exitStatus) << result.output;
  EXPECT_TRUE(Exists(volume / "there/txt/plain.txt"));
}

INSTANTIATE_TEST_SUITE_P(Kinds, EachVolume, testing::ValuesIn(AllVolumeKinds()),
                         [](const auto& each) { return NameOf(each.param); });

}  // namespace
}  // namespace tessary::test
