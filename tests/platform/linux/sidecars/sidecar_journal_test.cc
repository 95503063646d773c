#include "platform/linux/sidecars/sidecar_journal.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>

#include "tests/support/file_operations.h"
#include "tests/support/journal_entries.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using Names = std::vector<std::string>;

JournalEntry MakeEntry(JournalOperation operation, const std::string& name,
                       const std::string& newName, const std::string& otherPath) {
  JournalEntry entry;
  entry.operation = operation;
  entry.name = name;
  entry.newName = newName;
  entry.otherPath = otherPath;
  entry.item = {{~uint64_t{0}, 2, 3}, S_IFLNK, 4, -5, 999'999'999};
  return entry;
}

void ExpectSameFingerprint(const ObjectFingerprint& expected, const ObjectFingerprint& actual) {
  EXPECT_EQ(expected.identity.inode, actual.identity.inode);
  EXPECT_EQ(expected.identity.birth, actual.identity.birth);
  EXPECT_EQ(expected.identity.device, actual.identity.device);
  EXPECT_EQ(expected.type, actual.type);
  EXPECT_EQ(expected.size, actual.size);
  EXPECT_EQ(expected.seconds, actual.seconds);
  EXPECT_EQ(expected.nanoseconds, actual.nanoseconds);
}

TEST(ParseJournalEntry, ReadsFormattedEntry) {
  const std::array<JournalEntry, 5> entries = {
      MakeEntry(JournalOperation::kMove, "a\n\xFF", "..b", "/caf\xe9/with \"quotes\""),
      MakeEntry(JournalOperation::kMoveTarget, "a", "b", "/folder"),
      MakeEntry(JournalOperation::kMoveAcrossFilesystems, "a", "b", ""),
      MakeEntry(JournalOperation::kCopy, "...", "b", ""),
      MakeEntry(JournalOperation::kDelete, "a", "", ""),
  };
  for (const JournalEntry& entry : entries) {
    const std::string bytes = FormatJournalEntry(entry);
    const std::optional<JournalEntry> parsed = ParseJournalEntry(bytes);
    ASSERT_TRUE(parsed) << entry.name;
    EXPECT_EQ(entry.operation, parsed->operation);
    EXPECT_EQ(entry.name, parsed->name);
    EXPECT_EQ(entry.newName, parsed->newName);
    EXPECT_EQ(entry.otherPath, parsed->otherPath);
    ExpectSameFingerprint(entry.item, parsed->item);
    ExpectSameFingerprint(entry.sidecar, parsed->sidecar);
  }
}

TEST(ParseJournalEntry, RejectsIncompleteEntry) {
  const std::string whole =
      FormatJournalEntry(MakeEntry(JournalOperation::kMove, "a", "b", "/folder"));
  ASSERT_TRUE(ParseJournalEntry(whole));
  for (size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(ParseJournalEntry(whole.substr(0, size))) << size;
  }
}

TEST(ParseJournalEntry, RejectsUnknownOperation) {
  std::string bytes = FormatJournalEntry(MakeEntry(JournalOperation::kMove, "a", "b", "/folder"));
  bytes[bytes.find('M')] = 'X';
  EXPECT_FALSE(ParseJournalEntry(bytes));
}

TEST(ParseJournalEntry, RejectsNamesOutsideFolder) {
  const std::array<JournalEntry, 9> entries = {
      MakeEntry(JournalOperation::kCopy, "a", "b/../../c", ""),
      MakeEntry(JournalOperation::kCopy, "a", "..", ""),
      MakeEntry(JournalOperation::kCopy, "a", "", ""),
      MakeEntry(JournalOperation::kMove, "/a", "b", "/folder"),
      MakeEntry(JournalOperation::kMove, "", "b", "/folder"),
      MakeEntry(JournalOperation::kMove, "a", "b", "folder"),
      MakeEntry(JournalOperation::kMoveAcrossFilesystems, ".", "b", "/folder"),
      MakeEntry(JournalOperation::kDelete, "a/", "", ""),
      MakeEntry(JournalOperation::kDelete, "a", "b/c", ""),
  };
  for (const JournalEntry& entry : entries) {
    EXPECT_FALSE(ParseJournalEntry(FormatJournalEntry(entry)))
        << entry.name << " " << entry.newName << " " << entry.otherPath;
  }
}

TEST(IsJournalEntryName, AcceptsOnlyPrefixAndUuid) {
  const std::string name = JournalEntryName();
  EXPECT_TRUE(IsJournalEntryName(name));
  EXPECT_FALSE(IsJournalEntryName(name.substr(1)));
  EXPECT_FALSE(IsJournalEntryName(name + ".sidecar"));
  EXPECT_FALSE(IsJournalEntryName(name.substr(0, name.size() - 1) + "x"));
}

TEST(SidecarJournal, RemovesEntryUnlessKept) {
  const TemporaryFolder folder;
  const UniqueFd fd = OpenFolder(folder.path());
  const JournalEntry entry = MakeEntry(JournalOperation::kCopy, "a", "b", "");
  SidecarJournal journal;
  ASSERT_EQ(noErr, SidecarJournal::Write(fd.get(), entry, &journal));
  const Names names = NamesIn(folder.path());
  ASSERT_EQ(1U, names.size());
  EXPECT_TRUE(IsJournalEntryName(names[0])) << names[0];
  EXPECT_EQ(FormatJournalEntry(entry), ReadFile(folder / names[0]));
  EXPECT_EQ(StagedItemNameOf(names[0]), journal.StagedItemName());
  EXPECT_EQ(StagedSidecarNameOf(names[0]), journal.StagedSidecarName());
  journal = SidecarJournal();
  EXPECT_EQ(Names(), NamesIn(folder.path()));
  ASSERT_EQ(noErr, SidecarJournal::Write(fd.get(), entry, &journal));
  journal.Keep();
  journal = SidecarJournal();
  EXPECT_EQ(1U, NamesIn(folder.path()).size());
}

TEST(SidecarJournal, SecondEntryHasNameOfFirst) {
  const TemporaryFolder folder;
  MakeFolder(folder / "to");
  const UniqueFd from = OpenFolder(folder.path());
  const UniqueFd to = OpenFolder(folder / "to");
  const JournalEntry entry = MakeEntry(JournalOperation::kCopy, "a", "b", "");
  SidecarJournal first;
  SidecarJournal second;
  ASSERT_EQ(noErr, SidecarJournal::Write(from.get(), entry, &first));
  ASSERT_EQ(noErr, SidecarJournal::WriteSecond(first, to.get(), entry, &second));
  EXPECT_EQ(NamesIn(folder.path())[0], NamesIn(folder / "to")[0]);
  // In one folder there can be only one of that name.
  ASSERT_EQ(noErr, SidecarJournal::WriteSecond(first, from.get(), entry, &second));
  EXPECT_EQ(3U, NamesIn(folder.path()).size()) << "two entries and a folder";
  EXPECT_EQ(Names(), NamesIn(folder / "to"));
}

}  // namespace
}  // namespace tessary::test
