#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using Transfer = Status (*)(const FSRef&, const FSRef&, const std::u16string*, FSRef*);

// Copies as a run does: by the fast path if it applies.
Status CopyFastOrSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                      FSRef* target) {
  if (newName == nullptr && FSTryFastCopy(source, folder, target) == noErr) return noErr;
  return FSCopyObjectSync(source, folder, newName, target);
}

struct Method {
  const char* name;
  Transfer transfer;
  bool keepsSource;
};

// The common behaviour of moving and copying.
class MoveAndCopy : public testing::TestWithParam<Method> {
 protected:
  MoveAndCopy() { MakeFolder(folder_ / "to"); }

  Status Transfer(const std::string& name, const std::u16string* newName, FSRef* target) {
    return GetParam().transfer(RefAt(folder_ / name), RefAt(folder_ / "to"), newName, target);
  }

  TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Methods, MoveAndCopy,
                         testing::Values(Method{"Move", FSMoveObjectSync, false},
                                         Method{"Copy", FSCopyObjectSync, true},
                                         Method{"FastCopy", CopyFastOrSync, true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(MoveAndCopy, KeepsName) {
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

TEST_P(MoveAndCopy, UsesNewName) {
  WriteFile(folder_ / "file", "contents");
  const std::u16string newName = u"other/name";
  FSRef target;
  ASSERT_EQ(noErr, Transfer("file", &newName, &target));
  EXPECT_EQ("contents", ReadFile(folder_ / "to/other:name"));
}

TEST_P(MoveAndCopy, NeverOverwrites) {
  const std::vector<std::string> names = {"file", "link", "dangling", "folder"};
  WriteFile(folder_ / "to/file", "existing");
  MakeLink("file", folder_ / "to/link");
  MakeLink("nowhere", folder_ / "to/dangling");
  MakeFolder(folder_ / "to/folder");
  for (const std::string& name : names) {
    WriteFile(folder_ / name, "incoming");
    FSRef target;
    EXPECT_EQ(dupFNErr, Transfer(name, nullptr, &target)) << name;
    EXPECT_EQ("incoming", ReadFile(folder_ / name));
  }
  EXPECT_EQ("existing", ReadFile(folder_ / "to/file"));
  EXPECT_EQ("nowhere", std::filesystem::read_symlink(folder_ / "to/dangling"));
  EXPECT_EQ((std::vector<std::string>{"dangling", "file", "folder", "link"}),
            NamesIn(folder_ / "to"));
}

TEST_P(MoveAndCopy, TransfersWholeFolder) {
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

TEST_P(MoveAndCopy, TransfersLinkAsLink) {
  MakeLink("nowhere", folder_ / "dangling");
  FSRef target;
  ASSERT_EQ(noErr, Transfer("dangling", nullptr, &target));
  EXPECT_EQ("nowhere", std::filesystem::read_symlink(folder_ / "to/dangling"));
}

TEST_P(MoveAndCopy, RejectsFolderIntoItself) {
  MakeFolder(folder_ / "outer/inner");
  FSRef target;
  EXPECT_EQ(badMovErr, GetParam().transfer(RefAt(folder_ / "outer"), RefAt(folder_ / "outer/inner"),
                                           nullptr, &target));
  EXPECT_EQ(badMovErr, GetParam().transfer(RefAt(folder_ / "outer"), RefAt(folder_ / "outer"),
                                           nullptr, &target));
  EXPECT_TRUE(Exists(folder_ / "outer/inner"));
  EXPECT_TRUE(NamesIn(folder_ / "outer/inner").empty());
}

TEST_P(MoveAndCopy, RejectsTargetThatIsNotFolder) {
  WriteFile(folder_ / "file", "incoming");
  WriteFile(folder_ / "notAFolder", "existing");
  MakeLink("to", folder_ / "linkToFolder");
  FSRef target;
  for (const char* name : {"notAFolder", "linkToFolder"}) {
    EXPECT_EQ(errFSNotAFolder, GetParam().transfer(RefAt(folder_ / "file"), RefAt(folder_ / name),
                                                   nullptr, &target));
  }
  EXPECT_EQ("incoming", ReadFile(folder_ / "file"));
  EXPECT_TRUE(NamesIn(folder_ / "to").empty());
}

TEST_P(MoveAndCopy, RejectsInvalidNames) {
  WriteFile(folder_ / "file", "incoming");
  const std::vector<std::u16string> names = {u"", u".", u"..", std::u16string(u"a\0b", 3),
                                             std::u16string(256, u'x')};
  for (const std::u16string& name : names) {
    FSRef target;
    EXPECT_EQ(bdNamErr, Transfer("file", &name, &target));
  }
  EXPECT_EQ("incoming", ReadFile(folder_ / "file"));
  EXPECT_TRUE(NamesIn(folder_ / "to").empty());
}

TEST_P(MoveAndCopy, RejectsReplacedObject) {
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

TEST_P(MoveAndCopy, RejectsNullArgumentAndRoot) {
  WriteFile(folder_ / "file");
  EXPECT_EQ(paramErr, Transfer("file", nullptr, nullptr));
  FSRef target;
  EXPECT_EQ(paramErr, GetParam().transfer(RefAt("/"), RefAt(folder_ / "to"), nullptr, &target));
  EXPECT_TRUE(Exists(folder_ / "file"));
}

// An item without a sidecar keeps its name.
TEST(FastTransfer, IgnoresOrphanedSidecar) {
  const TemporaryFolder folder;
  WriteFile(folder / "from/moved", "m");
  WriteFile(folder / "from/copied", "c");
  for (const char* name : {"._moved", "._copied"}) WriteFile(folder / ("to/" + std::string(name)));
  ListFolder(folder / "to");
  const FSRef to = RefAt(folder / "to");
  FSRef target;
  EXPECT_EQ(noErr, FSTryFastMove(RefAt(folder / "from/moved"), to, &target));
  EXPECT_EQ(noErr, FSTryFastCopy(RefAt(folder / "from/copied"), to, &target));
  EXPECT_EQ((std::vector<std::string>{"._copied", "._moved", "copied", "moved"}),
            NamesIn(folder / "to"));
}

}  // namespace
}  // namespace tessary::test
