#include "engine/items.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/managers/text.h"
#include "tests/support/journal_entries.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using testing::UnorderedElementsAre;

std::vector<std::string> NamesOf(const std::optional<std::vector<FSRef>>& items) {
  std::vector<std::string> names;
  if (!items) return {"(no list)"};
  for (const FSRef& item : *items) {
    names.push_back(Utf8FromUtf16(GetItemNameString(item).value_or(u"(no name)")));
  }
  return names;
}

TEST(ListFolderFiles, OmitsPlainFolders) {
  const TemporaryFolder folder;
  WriteFile(folder / "a.txt");
  WriteFile(folder / ".hidden");
  WriteFile(folder / "plain/below.txt");
  WriteFile(folder / "Tool.app/Contents/Info.plist");
  MakeLink("plain", folder / "link");
  MakeLink("nowhere", folder / "dangling");
  const FSRef ref = RefAt(folder.path());
  EXPECT_THAT(NamesOf(ListFolderFiles(ref)),
              UnorderedElementsAre("a.txt", ".hidden", "Tool.app", "link", "dangling"));
  EXPECT_THAT(NamesOf(CopyFolderItems(ref)),
              UnorderedElementsAre("a.txt", ".hidden", "plain", "Tool.app", "link", "dangling"));
}

// A listing does not recover the folder.
TEST(ListFolderFiles, IncludesJournalEntriesAndTempFiles) {
  const TemporaryFolder folder;
  const std::string tempFile = ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF";
  WriteFile(folder / tempFile);
  WriteJournalEntry(folder.path(), JournalEntry());
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(NamesOf(ListFolderFiles(RefAt(folder.path()))),
                UnorderedElementsAre(tempFile, JournalEntryName()));
  }
}

TEST(ListFolderFiles, ReturnsNoEmptyList) {
  const TemporaryFolder folder;
  MakeFolder(folder / "empty");
  MakeFolder(folder / "folders/only");
  WriteFile(folder / "file");
  MakeFolder(folder / "gone");
  const FSRef gone = RefAt(folder / "gone");
  ASSERT_EQ(0, rmdir((folder / "gone").c_str()));
  Status status = ioErr;
  EXPECT_FALSE(ListFolderFiles(RefAt(folder / "empty"), &status).has_value());
  EXPECT_EQ(noErr, status);
  status = ioErr;
  EXPECT_FALSE(CopyFolderItems(RefAt(folder / "empty"), &status).has_value());
  EXPECT_EQ(noErr, status);
  EXPECT_FALSE(ListFolderFiles(RefAt(folder / "folders")).has_value());
  EXPECT_THAT(NamesOf(CopyFolderItems(RefAt(folder / "folders"))), UnorderedElementsAre("only"));
  const std::pair<FSRef, Status> rows[] = {
      {RefAt(folder / "file"), errFSNotAFolder}, {gone, fnfErr}, {FSRef{}, paramErr}};
  for (const auto& [ref, expected] : rows) {
    EXPECT_FALSE(ListFolderFiles(ref, &status).has_value());
    EXPECT_EQ(expected, status);
    status = noErr;
    EXPECT_FALSE(CopyFolderItems(ref, &status).has_value());
    EXPECT_EQ(expected, status);
    status = noErr;
  }
}

TEST(IsHiddenItem, ChecksLeadingDot) {
  const TemporaryFolder folder;
  const struct {
    std::string name;
    bool isHidden;
  } rows[] = {
      {".a", true}, {"..a", true}, {"a.", false}, {"a", false}, {" .a", false},
  };
  for (const auto& row : rows) {
    WriteFile(folder / row.name);
    MakeFolder(folder / (row.name + " folder"));
    EXPECT_EQ(row.isHidden, IsHiddenItem(RefAt(folder / row.name))) << row.name;
    EXPECT_EQ(row.isHidden, IsHiddenItem(RefAt(folder / (row.name + " folder")))) << row.name;
  }
}

TEST(IsHiddenItem, ChecksInvisibleFlagOfFiles) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  WriteFile(folder / "other");
  MakeFolder(folder / "folder");
  MakeFolder(folder / ".folder");
  if (!SetFinderInfo(folder / "file", "", kIsInvisible))
    GTEST_SKIP() << "needs extended attributes";
  ASSERT_TRUE(SetFinderInfo(folder / "other", "TEXT", static_cast<uint16_t>(~kIsInvisible)));
  ASSERT_TRUE(SetFinderInfo(folder / "folder", "", kIsInvisible));
  ASSERT_TRUE(SetFinderInfo(folder / ".folder", "", kIsInvisible));
  EXPECT_TRUE(IsHiddenItem(RefAt(folder / "file")));
  EXPECT_FALSE(IsHiddenItem(RefAt(folder / "other")));
  EXPECT_FALSE(IsHiddenItem(RefAt(folder / "folder")));
  EXPECT_TRUE(IsHiddenItem(RefAt(folder / ".folder")));
}

TEST(IsHiddenItem, FalseWithoutName) { EXPECT_FALSE(IsHiddenItem(FSRef{})); }

TEST(GetItemNameString, ReturnsCatalogName) {
  const TemporaryFolder folder;
  WriteFile(folder / "50:50");
  EXPECT_EQ(u"50/50", GetItemNameString(RefAt(folder / "50:50")));
  EXPECT_EQ(std::nullopt, GetItemNameString(FSRef{}));
}

}  // namespace
}  // namespace tessary::test
