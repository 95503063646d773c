#include "programs/cli/undo_plan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessary::test {
namespace {

ObjectState StateWithInode(uint64_t inode) {
  ObjectState state;
  state.inode = inode;
  return state;
}

JournalChange Made(ChangeKind kind, const std::string& source, const std::string& target) {
  JournalChange made;
  made.change = {.kind = kind, .source = source, .target = target, .object = StateWithInode(1)};
  return made;
}

JournalChange Created(const std::string& path) {
  JournalChange made;
  made.change = {.kind = ChangeKind::kFolderCreated, .source = {}, .target = path};
  return made;
}

UndoPlan PlanOf(const std::vector<JournalChange>& changes) {
  return MakeUndoPlan({{"40DFCCB2-2A2F-473B-BD6A-280CC8431FE0", "/s", "/d"}, changes});
}

// The steps as text: "a: y/a y/d/a" for an item that was at "a" and went to two places.
std::string Describe(const UndoPlan& plan) {
  std::string text;
  for (const UndoStep& step : plan.steps) {
    if (const auto* folder = std::get_if<CreatedFolder>(&step)) {
      text += folder->path + "; ";
      continue;
    }
    const auto& item = std::get<FiledItem>(step);
    text += item.original + (item.isCopy ? " copied:" : ":");
    for (const FiledItem::Place& place : item.places) text += " " + place.path;
    text += "; ";
  }
  return text;
}

constexpr ChangeKind kMoved = ChangeKind::kItemMoved;
constexpr ChangeKind kCopied = ChangeKind::kItemCopied;
constexpr ChangeKind kDeleted = ChangeKind::kItemDeleted;

TEST(UndoPlan, JoinsYearAndDay) {
  EXPECT_EQ("/s/a: /d/y/a /d/y/d/a; /d/y/d; /d/y; ",
            Describe(PlanOf({Created("/d/y"), Made(kMoved, "/s/a", "/d/y/a"), Created("/d/y/d"),
                             Made(kMoved, "/d/y/a", "/d/y/d/a")})));
}

TEST(UndoPlan, ReversesFromTheEnd) {
  EXPECT_EQ("/s/b copied: /d/b; /s/a copied: /d/a; /d; ",
            Describe(PlanOf(
                {Created("/d"), Made(kCopied, "/s/a", "/d/a"), Made(kCopied, "/s/b", "/d/b")})));
}

TEST(UndoPlan, LeavesOutFailedChanges) {
  JournalChange failed = Made(kMoved, "/s/a", "/d/a");
  failed.hasFailed = true;
  EXPECT_EQ("/s/a: /d/a 2; ", Describe(PlanOf({failed, Made(kMoved, "/s/a", "/d/a 2")})));
}

TEST(UndoPlan, CountsReplacedItems) {
  const UndoPlan plan =
      PlanOf({Made(kDeleted, "/d/a", ""), Made(kMoved, "/s/a", "/d/a"), Made(kDeleted, "/d/a", ""),
              Made(kMoved, "/s/sub/a", "/d/a"), Made(kCopied, "/s/b", "/d/b"),
              Made(kDeleted, "/d/b", ""), Made(kCopied, "/s/sub/b", "/d/b")});
  EXPECT_EQ("/s/sub/b copied: /d/b; /s/sub/a: /d/a; ", Describe(plan));
  // The originals of copies still exist.
  EXPECT_EQ(2U, plan.replacedItems);
}

// The run may have been killed before it made the last change, or copied the item across
// filesystems.
TEST(UndoPlan, KnowsNoIdentityAfterTheLastChange) {
  const UndoPlan plan = PlanOf(
      {Made(kCopied, "/s/a", "/d/a"), Made(kMoved, "/s/b", "/d/b"), Made(kMoved, "/s/c", "/d/c")});
  ASSERT_EQ(3U, plan.steps.size());
  EXPECT_EQ(0U, std::get<FiledItem>(plan.steps[0]).places[0].state.inode);
  EXPECT_EQ(1U, std::get<FiledItem>(plan.steps[1]).places[0].state.inode);
  EXPECT_EQ(0U, std::get<FiledItem>(plan.steps[2]).places[0].state.inode);
}

TEST(UndoPlan, UsesRecordedResults) {
  JournalChange copy = Made(kCopied, "/s/a", "/d/a");
  copy.result = StateWithInode(9);
  const UndoPlan plan = PlanOf({copy});
  EXPECT_EQ(9U, std::get<FiledItem>(plan.steps[0]).places[0].state.inode);
  EXPECT_EQ(1U, std::get<FiledItem>(plan.steps[0]).originalState.inode);
}

}  // namespace
}  // namespace tessary::test
