#include "platform/linux/sidecars/sidecar_journal.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace tessary::test {
namespace {

JournalEntry MakeEntry(JournalOperation change, const std::string& name, const std::string& newName,
                       const std::string& otherPath) {
  JournalEntry entry;
  entry.change = change;
  entry.name = name;
  entry.newName = newName;
  entry.otherPath = otherPath;
  entry.item = {.identity = {}, .type = 1, .size = 2, .seconds = -3, .nanoseconds = 4};
  return entry;
}

TEST(ParseJournalEntry, GivesBackWhatWasFormatted) {
  const std::array<JournalEntry, 4> entries = {
      MakeEntry(JournalOperation::kMove, "a\n\xFF", "..b", "/folder"),
      MakeEntry(JournalOperation::kMoveAcrossFilesystems, "a", "b", ""),
      MakeEntry(JournalOperation::kCopy, "...", "b", ""),
      MakeEntry(JournalOperation::kDelete, "a", "", ""),
  };
  for (const JournalEntry& entry : entries) {
    const std::string bytes = FormatJournalEntry(entry);
    const std::optional<JournalEntry> parsed = ParseJournalEntry(bytes);
    ASSERT_TRUE(parsed) << entry.name;
    EXPECT_EQ(entry.newName, parsed->newName);
    EXPECT_EQ(-3, parsed->item.seconds);
    EXPECT_EQ(bytes, FormatJournalEntry(*parsed));
    EXPECT_FALSE(ParseJournalEntry(std::string_view(bytes).substr(0, bytes.size() - 1)));
  }
}

TEST(ParseJournalEntry, RefusesNamesThatLeadToAnotherFolder) {
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

}  // namespace
}  // namespace tessary::test
