#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"
#include "tests/support/memory_volume.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

std::string PathOf(const FSRef& ref) {
  std::array<char, 4096> buffer = {};
  EXPECT_EQ(noErr, FSRefMakePath(ref, buffer.data(), buffer.size()));
  return buffer.data();
}

// Which folders hold sidecars is known from listing them.
void ListFolder(const std::string& path) {
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(path), &iterator));
  std::array<FSRef, 10> children;
  size_t count = 0;
  bool changed = false;
  EXPECT_EQ(errFSNoMoreItems,
            FSGetCatalogInfoBulk(*iterator, children.size(), &count, &changed, children.data()));
}

using Transfer = Status (*)(const FSRef&, const FSRef&, const std::u16string*, FSRef*);

// A copy as a run makes it: at once where that can be done.
Status CopyFastOrSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                      FSRef* target) {
  if (newName == nullptr && FSTryFastCopy(source, folder, target) == noErr) return noErr;
  return FSCopyObjectSync(source, folder, newName, target);
}

struct Way {
  const char* name;
  Transfer transfer;
  bool keepsSource;
};

// What moving and copying promise alike.
class MoveAndCopy : public testing::TestWithParam<Way> {
 protected:
  MoveAndCopy() { MakeFolder(folder_ / "to"); }

  Status Transfer(const std::string& name, const std::u16string* newName, FSRef* target) {
    return GetParam().transfer(RefAt(folder_ / name), RefAt(folder_ / "to"), newName, target);
  }

  TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Ways, MoveAndCopy,
                         testing::Values(Way{"Move", FSMoveObjectSync, false},
                                         Way{"Copy", FSCopyObjectSync, true},
                                         Way{"CopyAtOnce", CopyFastOrSync, true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(MoveAndCopy, KeepsTheNameWithoutANewOne) {
  for (const std::string name :
       {"plain", "\xff.bin", "new\nline", ".hidden", "two..dots", "a:b", "quote\"%@"}) {
    WriteFile(folder_ / name, name);
    FSRef target;
    ASSERT_EQ(noErr, Transfer(name, nullptr, &target)) << name;
    EXPECT_EQ(folder_ / ("to/" + name), PathOf(target));
    EXPECT_EQ(name, ReadFile(folder_ / ("to/" + name)));
    EXPECT_EQ(GetParam().keepsSource, Exists(folder_ / name));
  }
}

TEST_P(MoveAndCopy, GivesTheNewNameWhenThereIsOne) {
  WriteFile(folder_ / "file", "contents");
  const std::u16string newName = u"other/name";
  FSRef target;
  ASSERT_EQ(noErr, Transfer("file", &newName, &target));
  EXPECT_EQ("contents", ReadFile(folder_ / "to/other:name"));
}

TEST_P(MoveAndCopy, NeverOverwritesWhateverBearsTheName) {
  const std::vector<std::string> taken = {"file", "link", "dangling", "folder"};
  WriteFile(folder_ / "to/file", "theirs");
  MakeLink("file", folder_ / "to/link");
  MakeLink("nowhere", folder_ / "to/dangling");
  MakeFolder(folder_ / "to/folder");
  for (const std::string& name : taken) {
    WriteFile(folder_ / name, "mine");
    FSRef target;
    EXPECT_EQ(dupFNErr, Transfer(name, nullptr, &target)) << name;
    EXPECT_EQ("mine", ReadFile(folder_ / name));
  }
  EXPECT_EQ("theirs", ReadFile(folder_ / "to/file"));
  EXPECT_EQ("nowhere", std::filesystem::read_symlink(folder_ / "to/dangling"));
  EXPECT_EQ((std::vector<std::string>{"dangling", "file", "folder", "link"}),
            NamesIn(folder_ / "to"));
}

TEST_P(MoveAndCopy, TakesAFolderWhole) {
  WriteFile(folder_ / "Tool.app/Contents/Info", "info");
  WriteFile(folder_ / "Tool.app/Contents/Resources/.hidden", "hidden");
  MakeLink("Info", folder_ / "Tool.app/Contents/link");
  FSRef target;
  ASSERT_EQ(noErr, Transfer("Tool.app", nullptr, &target));
  EXPECT_EQ(
      (std::vector<std::string>{"Contents/Info", "Contents/Resources/.hidden", "Contents/link"}),
      FilesBelow(folder_ / "to/Tool.app"));
  EXPECT_EQ(GetParam().keepsSource, Exists(folder_ / "Tool.app/Contents/Info"));
}

TEST_P(MoveAndCopy, TakesALinkAsALink) {
  MakeLink("nowhere", folder_ / "dangling");
  FSRef target;
  ASSERT_EQ(noErr, Transfer("dangling", nullptr, &target));
  EXPECT_EQ("nowhere", std::filesystem::read_symlink(folder_ / "to/dangling"));
}

TEST_P(MoveAndCopy, RefusesAFolderIntoItself) {
  MakeFolder(folder_ / "outer/inner");
  FSRef target;
  EXPECT_EQ(badMovErr, GetParam().transfer(RefAt(folder_ / "outer"), RefAt(folder_ / "outer/inner"),
                                           nullptr, &target));
  EXPECT_EQ(badMovErr, GetParam().transfer(RefAt(folder_ / "outer"), RefAt(folder_ / "outer"),
                                           nullptr, &target));
  EXPECT_TRUE(Exists(folder_ / "outer/inner"));
  EXPECT_TRUE(NamesIn(folder_ / "outer/inner").empty());
}

TEST_P(MoveAndCopy, RefusesWhatIsNoFolderToGoInto) {
  WriteFile(folder_ / "file", "mine");
  WriteFile(folder_ / "notAFolder", "theirs");
  MakeLink("to", folder_ / "linkToFolder");
  FSRef target;
  for (const char* name : {"notAFolder", "linkToFolder"}) {
    EXPECT_EQ(errFSNotAFolder, GetParam().transfer(RefAt(folder_ / "file"), RefAt(folder_ / name),
                                                   nullptr, &target));
  }
  EXPECT_EQ("mine", ReadFile(folder_ / "file"));
  EXPECT_TRUE(NamesIn(folder_ / "to").empty());
}

TEST_P(MoveAndCopy, RefusesNamesThatLeadOutOrDoNotFit) {
  WriteFile(folder_ / "file", "mine");
  const std::vector<std::u16string> names = {u"", u".", u"..", std::u16string(u"a\0b", 3),
                                             std::u16string(256, u'x')};
  for (const std::u16string& name : names) {
    FSRef target;
    EXPECT_EQ(bdNamErr, Transfer("file", &name, &target));
  }
  EXPECT_EQ("mine", ReadFile(folder_ / "file"));
  EXPECT_TRUE(NamesIn(folder_ / "to").empty());
}

TEST_P(MoveAndCopy, RefusesAnObjectThatIsNoLongerTheOneNamed) {
  WriteFile(folder_ / "file", "old");
  const FSRef ref = RefAt(folder_ / "file");
  WriteFile(folder_ / "other", "new");
  std::filesystem::rename(folder_ / "other", folder_ / "file");
  FSRef target;
  EXPECT_EQ(fnfErr, GetParam().transfer(ref, RefAt(folder_ / "to"), nullptr, &target));
  EXPECT_EQ(paramErr, GetParam().transfer(FSRef{}, RefAt(folder_ / "to"), nullptr, &target));
  EXPECT_EQ("new", ReadFile(folder_ / "file"));
  EXPECT_TRUE(NamesIn(folder_ / "to").empty());
}

TEST_P(MoveAndCopy, RefusesAMissingOutArgumentAndTheRoot) {
  WriteFile(folder_ / "file");
  EXPECT_EQ(paramErr, Transfer("file", nullptr, nullptr));
  FSRef target;
  EXPECT_EQ(paramErr, GetParam().transfer(RefAt("/"), RefAt(folder_ / "to"), nullptr, &target));
  EXPECT_TRUE(Exists(folder_ / "file"));
}

TEST(FSMoveObjectSync, RenamesASpecialFileWithoutOpeningIt) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
  FSRef target;
  ASSERT_EQ(noErr,
            FSMoveObjectSync(RefAt(folder / "fifo"), RefAt(folder / "to"), nullptr, &target));
  EXPECT_TRUE(std::filesystem::is_fifo(folder / "to/fifo"));
  EXPECT_EQ(paramErr,
            FSCopyObjectSync(RefAt(folder / "to/fifo"), RefAt(folder.path()), nullptr, &target));
}

TEST(FSMoveObjectSync, KeepsTheObjectItself) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  WriteFile(folder / "file");
  const FSRef before = RefAt(folder / "file");
  FSRef after;
  ASSERT_EQ(noErr, FSMoveObjectSync(before, RefAt(folder / "to"), nullptr, &after));
  EXPECT_EQ(noErr, FSCompareFSRefs(before, after));
  EXPECT_FALSE(FSIsFSRefValid(before));
  EXPECT_TRUE(FSIsFSRefValid(after));
}

TEST(FSMoveObjectSync, RefusesAVolumesRoot) {
  const TemporaryFolder folder;
  MakeFolder(folder / "mounted");
  MakeFolder(folder / "to");
  if (mount("none", (folder / "mounted").c_str(), "tmpfs", 0, nullptr) != 0) {
    GTEST_SKIP() << "cannot mount here: " << strerror(errno);
  }
  WriteFile(folder / "mounted/file", "kept");
  FSRef target;
  EXPECT_NE(noErr,
            FSMoveObjectSync(RefAt(folder / "mounted"), RefAt(folder / "to"), nullptr, &target));
  EXPECT_EQ("kept", ReadFile(folder / "mounted/file"));
  EXPECT_TRUE(NamesIn(folder / "to").empty());
  EXPECT_EQ(0, umount2((folder / "mounted").c_str(), MNT_DETACH));
}

TEST(FSMoveObjectSync, WorksThroughABindMountOfTheSameVolume) {
  const TemporaryFolder folder;
  MakeFolder(folder / "real");
  MakeFolder(folder / "bound");
  if (mount((folder / "real").c_str(), (folder / "bound").c_str(), nullptr, MS_BIND, nullptr) !=
      0) {
    GTEST_SKIP() << "cannot mount here: " << strerror(errno);
  }
  WriteFile(folder / "file", "contents");
  FSRef target;
  EXPECT_EQ(noErr,
            FSMoveObjectSync(RefAt(folder / "file"), RefAt(folder / "bound"), nullptr, &target));
  EXPECT_EQ("contents", ReadFile(folder / "real/file"));
  EXPECT_FALSE(Exists(folder / "file"));
  EXPECT_EQ(noErr, FSCompareFSRefs(RefAt(folder / "real"), RefAt(folder / "bound")));
  EXPECT_EQ(badMovErr,
            FSMoveObjectSync(RefAt(folder / "real"), RefAt(folder / "bound"), nullptr, &target));
  EXPECT_EQ("contents", ReadFile(folder / "real/file"));
  EXPECT_EQ(0, umount2((folder / "bound").c_str(), MNT_DETACH));
}

TEST(FSCreateDirectoryUnicode, MakesAFolderAndItsReference) {
  const TemporaryFolder folder;
  FSRef made;
  ASSERT_EQ(noErr, FSCreateDirectoryUnicode(RefAt(folder.path()), u"image/jpeg", &made));
  EXPECT_EQ(folder / "image:jpeg", PathOf(made));
  EXPECT_TRUE(std::filesystem::is_directory(folder / "image:jpeg"));
}

TEST(FSCreateDirectoryUnicode, RefusesATakenNameAndANameThatIsNone) {
  const TemporaryFolder folder;
  WriteFile(folder / "taken", "kept");
  const std::vector<std::pair<std::u16string, Status>> rows = {
      {u"taken", dupFNErr},
      {u"..", bdNamErr},
      {u"", bdNamErr},
      {std::u16string(256, u'x'), bdNamErr}};
  for (const auto& [name, expected] : rows) {
    FSRef made = RefAt(folder.path());
    EXPECT_EQ(expected, FSCreateDirectoryUnicode(RefAt(folder.path()), name, &made));
    const FSRef none;
    EXPECT_EQ(0, std::memcmp(&none, &made, sizeof(made)));
  }
  FSRef made;
  EXPECT_EQ(errFSNotAFolder, FSCreateDirectoryUnicode(RefAt(folder / "taken"), u"x", &made));
  EXPECT_EQ("kept", ReadFile(folder / "taken"));
}

TEST(FSDeleteObject, DeletesFilesLinksAndEmptyFoldersOnly) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  WriteFile(folder / "full/file");
  MakeFolder(folder / "empty");
  MakeLink("full", folder / "link");
  for (const char* name : {"file", "empty", "link"}) {
    EXPECT_EQ(noErr, FSDeleteObject(RefAt(folder / name))) << name;
    EXPECT_FALSE(Exists(folder / name)) << name;
  }
  EXPECT_EQ(fBsyErr, FSDeleteObject(RefAt(folder / "full")));
  EXPECT_TRUE(Exists(folder / "full/file"));
  EXPECT_EQ(paramErr, FSDeleteObject(FSRef{}));
  EXPECT_NE(noErr, FSDeleteObject(RefAt("/")));
}

TEST(FSDeleteObject, LeavesAnotherObjectOfTheSameNameAlone) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "old");
  const FSRef ref = RefAt(folder / "file");
  WriteFile(folder / "other", "new");
  std::filesystem::rename(folder / "other", folder / "file");
  EXPECT_EQ(fnfErr, FSDeleteObject(ref));
  EXPECT_EQ("new", ReadFile(folder / "file"));
}

TEST(FSTryFastMove, MovesAFileAndTellsWhereItIs) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt", "a");
  MakeFolder(folder / "to");
  FSRef target;
  ASSERT_EQ(noErr, FSTryFastMove(RefAt(folder / "a.txt"), RefAt(folder / "to"), &target));
  EXPECT_EQ("a", ReadFile(folder / "to/a.txt"));
  EXPECT_FALSE(Exists(folder / "a.txt"));
  EXPECT_EQ(folder / "to/a.txt", PathOf(target));
  EXPECT_EQ(noErr, FSCompareFSRefs(target, RefAt(folder / "to/a.txt")));
}

TEST(FSTryFastMove, ChangesNothingWhereMoreHasToBeDone) {
  const TemporaryFolder folder;
  WriteFile(folder / "from/taken.txt", "new");
  WriteFile(folder / "from/a.txt", "a");
  WriteFile(folder / "from/._a.txt", "sidecar");
  MakeFolder(folder / "from/sub");
  WriteFile(folder / "to/taken.txt", "old");
  const std::vector<std::string> before = FilesBelow(folder.path());
  const FSRef to = RefAt(folder / "to");
  const FSRef file = RefAt(folder / "to/taken.txt");
  FSRef target;
  EXPECT_EQ(dupFNErr, FSTryFastMove(RefAt(folder / "from/taken.txt"), to, &target));
  EXPECT_EQ(paramErr, FSTryFastMove(RefAt(folder / "from/sub"), to, &target));
  EXPECT_EQ(errFSNotAFolder, FSTryFastMove(RefAt(folder / "from/a.txt"), file, &target));
  EXPECT_EQ(paramErr, FSTryFastMove(RefAt(folder / "from/a.txt"), to, nullptr));
  ListFolder(folder / "from");
  EXPECT_EQ(paramErr, FSTryFastMove(RefAt(folder / "from/a.txt"), to, &target));
  EXPECT_EQ(before, FilesBelow(folder.path()));
  EXPECT_EQ("old", ReadFile(folder / "to/taken.txt"));
}

TEST(FSTryFastCopy, CopiesASmallFileAndTellsWhereItIs) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt", "a");
  SetModificationDate(folder / "a.txt", 1'236'168'000);
  MakeFolder(folder / "to");
  const FSStatCacheScope step;
  FSRef target;
  ASSERT_EQ(noErr, FSTryFastCopy(RefAt(folder / "a.txt"), RefAt(folder / "to"), &target));
  EXPECT_EQ("a", ReadFile(folder / "to/a.txt"));
  EXPECT_EQ("a", ReadFile(folder / "a.txt"));
  EXPECT_EQ(folder / "to/a.txt", PathOf(target));
  const auto date = CopyFileDateAtPath(folder / "to/a.txt", DateAttribute::NSFileModificationDate);
  EXPECT_EQ((Timestamp{1'236'168'000, 0}), date);
}

TEST(FSTryFastCopy, TellsOfTheObjectThatItMade) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt", "a");
  MakeFolder(folder / "to");
  FSRef target;
  ASSERT_EQ(noErr, FSTryFastCopy(RefAt(folder / "a.txt"), RefAt(folder / "to"), &target));
  EXPECT_TRUE(FSIsFSRefValid(target));
  EXPECT_EQ(noErr, FSCompareFSRefs(target, RefAt(folder / "to/a.txt")));
  WriteFile(folder / "other", "another");
  ASSERT_EQ(0, rename((folder / "other").c_str(), (folder / "to/a.txt").c_str()));
  EXPECT_FALSE(FSIsFSRefValid(target));
}

TEST(FSTryFastCopy, LeavesNothingBehindWhereMoreHasToBeDone) {
  const TemporaryFolder folder;
  const std::vector<std::string> taken = {"file", "folder", "link"};
  for (const std::string& name : taken) WriteFile(folder / ("from/" + name), "new");
  WriteFile(folder / "to/file", "old");
  MakeFolder(folder / "to/folder");
  MakeLink("nowhere", folder / "to/link");
  WriteFile(folder / "from/a.txt", "a");
  WriteFile(folder / "from/big", std::string((1 << 20) + 1, 'x'));
  WriteFile(folder / "from/Tool.app/file", "in a package");
  MakeLink("a.txt", folder / "from/a link");
  ASSERT_EQ(0, mkfifo((folder / "from/fifo").c_str(), 0600));
  const std::vector<std::string> before = FilesBelow(folder.path());
  const FSRef to = RefAt(folder / "to");
  const auto copy = [&folder, &to](const std::string& name) {
    FSRef target;
    return FSTryFastCopy(RefAt(folder / ("from/" + name)), to, &target);
  };
  for (const std::string& name : taken) EXPECT_EQ(dupFNErr, copy(name)) << name;
  for (const char* name : {"big", "Tool.app", "a link", "fifo"}) {
    EXPECT_EQ(paramErr, copy(name)) << name;
  }
  FSRef target;
  const FSRef item = RefAt(folder / "from/a.txt");
  EXPECT_EQ(errFSNotAFolder, FSTryFastCopy(item, RefAt(folder / "to/file"), &target));
  EXPECT_EQ(paramErr, FSTryFastCopy(item, to, nullptr));
  EXPECT_EQ(paramErr, FSTryFastCopy(FSRef{}, to, &target));
  EXPECT_EQ(before, FilesBelow(folder.path()));
  EXPECT_EQ("old", ReadFile(folder / "to/file"));
}

TEST(FSTryFastCopy, LeavesAnItemWithASidecarAlone) {
  const TemporaryFolder folder;
  WriteFile(folder / "from/a.txt", "a");
  WriteFile(folder / "from/._a.txt", "sidecar");
  WriteFile(folder / "to/._waiting.txt", "waiting");
  WriteFile(folder / "other/waiting.txt", "w");
  const std::vector<std::string> before = FilesBelow(folder.path());
  ListFolder(folder / "from");
  const FSRef to = RefAt(folder / "to");
  FSRef target;
  EXPECT_EQ(paramErr, FSTryFastCopy(RefAt(folder / "from/a.txt"), to, &target));
  EXPECT_EQ(paramErr, FSTryFastCopy(RefAt(folder / "other/waiting.txt"), to, &target));
  EXPECT_EQ(before, FilesBelow(folder.path()));
}

TEST(FSTryFastCopy, CopiesNothingThatHasTakenTheFilesName) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  const std::vector<std::function<void(const std::string&)>> takers = {
      [](const std::string& path) { WriteFile(path, "another"); },
      [](const std::string& path) { MakeLink("/etc/hostname", path); },
      [](const std::string& path) { MakeFolder(path); },
      // Opened to be read, it would keep its reader waiting.
      [](const std::string& path) { ASSERT_EQ(0, mkfifo(path.c_str(), 0600)); },
      [](const std::string& /*path*/) {}};
  for (size_t i = 0; i < takers.size(); ++i) {
    const std::string path = folder / ("file" + std::to_string(i));
    WriteFile(path, "listed");
    const FSRef listed = RefAt(path);
    // It stays, so that its number is not given to the taker.
    ASSERT_EQ(0, rename(path.c_str(), (path + " elsewhere").c_str()));
    takers[i](path);
    FSRef target;
    EXPECT_EQ(fnfErr, FSTryFastCopy(listed, RefAt(folder / "to"), &target)) << i;
  }
  EXPECT_TRUE(NamesIn(folder / "to").empty());
}

TEST(FSTryFastCopy, LeavesNothingOnAFullVolume) {
  const TemporaryFolder folder;
  const MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "cannot mount here";
  WriteFile(folder / "file", std::string(100'000, 'x'));
  FSRef target;
  EXPECT_EQ(dskFulErr, FSTryFastCopy(RefAt(folder / "file"), RefAt(volume.path()), &target));
  EXPECT_TRUE(NamesIn(volume.path()).empty());
}

}  // namespace
}  // namespace tessary::test
