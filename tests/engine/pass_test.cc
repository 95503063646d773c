#include "engine/pass.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "engine/items.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/text.h"
#include "tests/engine/engine_fixture.h"
#include "tests/support/fault_injection/paused_calls.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::UnorderedElementsAre;

bool IsZero(const FSRef& ref) {
  return std::all_of(std::begin(ref.hidden), std::end(ref.hidden),
                     [](unsigned char byte) { return byte == 0; });
}

class PassTest : public EngineFixture {
 protected:
  // Rules of a pass that moves everything into the folder for one key. calls_ records the order in
  // which they are called.
  PassRules RulesWithKey(const std::optional<std::u16string>& key) {
    return {.copyKey =
                [this, key](const FSRef&, Status*) {
                  calls_ += "key ";
                  return key;
                },
            .reportProgress =
                [this](const std::string& text) {
                  calls_ += "progress ";
                  texts_.push_back(text);
                },
            .isCopyWanted =
                [this] {
                  calls_ += "copy ";
                  return false;
                }};
  }

  void RunWith(const PassRules& rules) const {
    const FSRef destination = RefAt(destination_);
    RunPass(RefAt(source_), &destination, rules);
  }

  std::string calls_;
  std::vector<std::string> texts_;
};

using GetOrCreateKeyFolderTest = PassTest;

TEST_F(PassTest, CallsRulesInOrder) {
  WriteFile(InSource("a.txt"));
  RunWith(RulesWithKey(u"key"));
  EXPECT_EQ("key progress copy ", calls_);
  EXPECT_THAT(texts_, ElementsAre(MovingLine(InSource("a.txt"))));
  EXPECT_TRUE(Exists(InDestination("key/a.txt")));
  EXPECT_THAT(Messages(), ElementsAre(MovedLine("a.txt", "key")));
  EXPECT_THAT(reports_, ElementsAre(InSource("a.txt") + ": filed, in " + InDestination("key") +
                                    ", as a.txt"));
}

TEST_F(PassTest, NullDestinationMeansFolderItself) {
  WriteFile(InSource("a.txt"));
  RunPass(RefAt(source_), nullptr, RulesWithKey(u"key"));
  EXPECT_TRUE(Exists(InSource("key/a.txt")));
}

TEST_F(PassTest, IgnoresHiddenItem) {
  WriteFile(InSource(".a.txt"));
  RunWith(RulesWithKey(u"key"));
  EXPECT_EQ("", calls_);
  EXPECT_THAT(outcomes_, IsEmpty());
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
}

TEST_F(PassTest, SkipsItemWithoutKey) {
  WriteFile(InSource("a.txt"));
  RunWith(RulesWithKey(std::nullopt));
  EXPECT_EQ("key ", calls_);
  EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kSkipped));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(PassTest, SkipsItemWithInvalidKey) {
  const std::u16string keys[] = {u"",
                                 u".",
                                 u"..",
                                 std::u16string(1, u'\0'),
                                 std::u16string(u"a\0b", 3),
                                 std::u16string(256, u'x')};
  WriteFile(InSource("a.txt"));
  for (const std::u16string& key : keys) {
    calls_.clear();
    outcomes_.clear();
    RunWith(RulesWithKey(key));
    EXPECT_EQ("key ", calls_) << Utf8FromUtf16(key);
    const auto outcome = key.empty() ? ItemOutcome::kSkipped : ItemOutcome::kNoKeyFolder;
    EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(outcome));
  }
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_THAT(NamesIn(root_.path()), UnorderedElementsAre("source", "destination"));
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
  EXPECT_TRUE(Exists(InSource("a.txt")));
}

TEST_F(PassTest, LogsItemDeletedAfterListing) {
  WriteFile(InSource("a.txt"));
  WriteFile(InSource("b.txt"));
  PassRules rules = RulesWithKey(u"key");
  std::string first;
  rules.reportProgress = [&](const std::string& text) {
    first = text == MovingLine(InSource("a.txt")) ? "a.txt" : "b.txt";
    const std::string other = first == "a.txt" ? "b.txt" : "a.txt";
    ASSERT_EQ(0, unlink(InSource(other).c_str()));
  };
  RunWith(rules);
  EXPECT_THAT(Messages(), ElementsAre(MovedLine(first, "key"), "Inavlid FSRef"));
  EXPECT_THAT(outcomes_[InSource(first)], ElementsAre(ItemOutcome::kFiled));
  const std::string other = first == "a.txt" ? "b.txt" : "a.txt";
  EXPECT_EQ(InSource(other) + ": not read, -43", reports_.back());
}

TEST_F(PassTest, LogsItemDeletedBeforeTransfer) {
  WriteFile(InSource("a.txt"));
  PassRules rules = RulesWithKey(u"key");
  rules.reportProgress = [&](const std::string&) {
    ASSERT_EQ(0, unlink(InSource("a.txt").c_str()));
  };
  RunWith(rules);
  EXPECT_THAT(Messages(), ElementsAre(NotMovedLine(InSource("a.txt"), InDestination("key"))));
  EXPECT_THAT(reports_, ElementsAre(InSource("a.txt") + ": not transferred, -43, in " +
                                    InDestination("key")));
}

TEST_F(PassTest, FilesItemDespiteErrorOfRename) {
  WriteFile(InSource("a.txt"), "a");
  const auto moveFile = [this] {
    (void)rename(InSource("a.txt").c_str(), InDestination("key/a.txt").c_str());
  };
  RunWithPausedCalls({{SYS_renameat2, "a.txt", 1, moveFile, EIO}}, [this] {
    RunWith(RulesWithKey(u"key"));
    EXPECT_THAT(reports_, ElementsAre(InSource("a.txt") + ": filed, in " + InDestination("key") +
                                      ", as a.txt"));
    EXPECT_EQ("a", ReadFile(InDestination("key/a.txt")));
  });
}

// The folder is looked up before it is created, and again afterwards.
TEST_F(PassTest, FilesIntoFolderAfterFailedLookup) {
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  RunWithPausedCalls({{SYS_statx, "key", 2, {}, EIO}}, [this] {
    RunWith(RulesWithKey(u"key"));
    EXPECT_THAT(NamesIn(InDestination("key")), ElementsAre("a.txt", "b.txt"));
    EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kFiled));
    EXPECT_THAT(outcomes_[InSource("b.txt")], ElementsAre(ItemOutcome::kFiled));
  });
}

TEST_F(PassTest, RejectsItemReplacedBeforeItsTurn) {
  WriteFile(InSource("a.txt"), "listed");
  WriteFile(InSource("b.txt"), "listed");
  std::string other;
  PassRules rules = RulesWithKey(u"key");
  rules.reportProgress = [&](const std::string& text) {
    other = InSource(text == MovingLine(InSource("a.txt")) ? "b.txt" : "a.txt");
    WriteFile(root_ / "swapped", "another");
    ASSERT_EQ(0, rename((root_ / "swapped").c_str(), other.c_str()));
  };
  RunWith(rules);
  EXPECT_EQ("another", ReadFile(other));
  EXPECT_EQ("Inavlid FSRef", Messages().back());
}

TEST_F(PassTest, CopiesFileSavedBeforeTransfer) {
  WriteFile(InSource("a.txt"), "listed");
  PassRules rules = RulesWithKey(u"key");
  rules.isCopyWanted = [] { return true; };
  rules.reportProgress = [&](const std::string&) {
    WriteFile(root_ / "swapped", "another");
    ASSERT_EQ(0, rename((root_ / "swapped").c_str(), InSource("a.txt").c_str()));
  };
  RunWith(rules);
  EXPECT_EQ("another", ReadFile(InDestination("key/a.txt")));
  EXPECT_THAT(Messages(), ElementsAre(MovedLine("a.txt", "key")));
}

TEST_F(PassTest, CopiesUnderDistinctName) {
  WriteFile(InSource("a.txt"), "new");
  WriteFile(InSource("b.txt"), "new");
  WriteFile(InDestination("key/a.txt"), "old");
  MakeFolder(InDestination("key/b.txt"));
  PassRules rules = RulesWithKey(u"key");
  rules.isCopyWanted = [] { return true; };
  RunWith(rules);
  EXPECT_THAT(NamesIn(InDestination("key")),
              UnorderedElementsAre("a.txt", "b.txt", MatchesRegex(DistinctName("a - ", "\\.txt")),
                                   MatchesRegex(DistinctName("b - ", "\\.txt"))));
  EXPECT_EQ("old", ReadFile(InDestination("key/a.txt")));
  EXPECT_THAT(NamesIn(InDestination("key/b.txt")), IsEmpty());
}

TEST_F(PassTest, MovesFileSavedBeforeTransfer) {
  WriteFile(InSource("a.txt"), "listed");
  PassRules rules = RulesWithKey(u"key");
  rules.reportProgress = [&](const std::string&) {
    WriteFile(root_ / "saved", "saved");
    ASSERT_EQ(0, rename((root_ / "saved").c_str(), InSource("a.txt").c_str()));
  };
  RunWith(rules);
  EXPECT_EQ("saved", ReadFile(InDestination("key/a.txt")));
  EXPECT_THAT(NamesIn(source_), IsEmpty());
  EXPECT_THAT(Messages(), ElementsAre(MovedLine("a.txt", "key")));
  EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kFiled));
}

TEST_F(PassTest, LooksUpKeyFolderOnce) {
  WriteFile(InSource("a.txt"));
  WriteFile(InSource("b.txt"));
  PassRules rules = RulesWithKey(u"key");
  int items = 0;
  rules.reportProgress = [&](const std::string&) {
    if (++items == 1) {
      ASSERT_EQ(0, rename(InDestination("key").c_str(), InDestination("away").c_str()));
    }
  };
  RunWith(rules);
  // Both go to the remembered path, where nothing is any more. No second folder is created.
  EXPECT_THAT(NamesIn(destination_), ElementsAre("away"));
  EXPECT_EQ(4U, Messages().size());
  EXPECT_THAT(Messages(),
              testing::Contains("An error occurred moving an object. Error number = -43").Times(2));
}

TEST_F(PassTest, RetriesFailedKeyFolder) {
  WriteFile(InSource("a.txt"));
  WriteFile(InSource("b.txt"));
  MakeFolder(InDestination("deep"));
  PassRules rules = RulesWithKey(u"key");
  int keys = 0;
  rules.copyKey = [&](const FSRef&, Status*) -> std::optional<std::u16string> {
    // The destination exists for the second item only.
    if (++keys == 1) {
      EXPECT_EQ(0, rename(InDestination("deep").c_str(), (root_ / "deep").c_str()));
    } else {
      EXPECT_EQ(0, rename((root_ / "deep").c_str(), InDestination("deep").c_str()));
    }
    return u"key";
  };
  const FSRef destination = RefAt(InDestination("deep"));
  RunPass(RefAt(source_), &destination, rules);
  EXPECT_EQ(1U, NamesIn(InDestination("deep/key")).size());
  EXPECT_EQ(1U, NamesIn(source_).size());
  EXPECT_EQ(1U, Messages().size());
}

TEST_F(PassTest, ReportsItemInPlaceAsSkipped) {
  WriteFile(InSource("key/a.txt"));
  const FSRef parent = RefAt(source_);
  RunPass(RefAt(InSource("key")), &parent, RulesWithKey(u"key"));
  EXPECT_THAT(outcomes_[InSource("key/a.txt")], ElementsAre(ItemOutcome::kSkipped));
  EXPECT_TRUE(Exists(InSource("key/a.txt")));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(PassTest, ReportsStepOfRules) {
  WriteFile(InSource("key/inPlace"));
  WriteFile(InSource("filed"));
  WriteFile(InSource("noKey"));
  WriteFile(InSource("failed"));
  PassRules rules = RulesWithKey(u"key");
  rules.copyKey = [](const FSRef& item, Status*) -> std::optional<std::u16string> {
    const std::u16string name = GetItemNameString(item).value_or(u"");
    if (name == u"noKey") return std::nullopt;
    return name == u"failed" ? u".." : u"key";
  };
  rules.step = FilingStep::kDay;
  const FSRef parent = RefAt(source_);
  RunPass(RefAt(InSource("key")), &parent, rules);
  RunPass(RefAt(source_), &parent, rules);
  const std::string key = InSource("key");
  EXPECT_THAT(
      reports_,
      UnorderedElementsAre(key + "/inPlace: skipped, day, in " + key,
                           InSource("filed") + ": filed, day, in " + key + ", as filed",
                           InSource("noKey") + ": skipped, day",
                           InSource("failed") + ": no key folder, day, -37, in " + InSource("..")));
}

TEST_F(PassTest, ReportsWhyKeyFolderFails) {
  WriteFile(InSource("a.txt"));
  WriteFile(InDestination("file"));
  RunWith(RulesWithKey(std::u16string(256, u'x')));
  RunWith(RulesWithKey(u"file"));
  MakeFolder(root_ / "gone");
  const FSRef gone = RefAt(root_ / "gone");
  ASSERT_EQ(0, rmdir((root_ / "gone").c_str()));
  RunPass(RefAt(source_), &gone, RulesWithKey(u"a/b"));
  EXPECT_THAT(
      reports_,
      ElementsAre(InSource("a.txt") + ": no key folder, -37, in " + destination_ + "/" +
                      std::string(256, 'x'),
                  InSource("a.txt") + ": not transferred, -1407, in " + InDestination("file"),
                  InSource("a.txt") + ": no key folder, -43, in " + (root_ / "gone/a:b")));
}

TEST_F(PassTest, ReportsCopyAndReplaceFailure) {
  preferences_.Write("ReplaceFilesBySameName = true\n");
  WriteFile(InSource("a.txt"));
  WriteFile(InDestination("key/a.txt/inside"));
  PassRules rules = RulesWithKey(u"key");
  rules.isCopyWanted = [] { return true; };
  RunWith(rules);
  EXPECT_THAT(reports_,
              ElementsAre(MatchesRegex(".*/a.txt: filed, copy, replace -47, in .*/key, as " +
                                       DistinctName("a - ", "\\.txt"))));
}

TEST_F(PassTest, SkipsItemWithTooLongPath) {
  std::string folder = source_;
  while (folder.size() < 2047 - 200) folder += "/" + std::string(99, 'd');
  MakeFolder(folder);
  const std::string fits(2047 - folder.size() - 1, 'f');
  const std::string tooLong = fits + "g";
  WriteFile(folder + "/" + fits);
  WriteFile(folder + "/" + tooLong);
  const FSRef destination = RefAt(destination_);
  RunPass(RefAt(folder), &destination, RulesWithKey(u"key"));
  EXPECT_THAT(NamesIn(InDestination("key")), ElementsAre(fits));
  EXPECT_THAT(NamesIn(folder), ElementsAre(tooLong));
  EXPECT_THAT(Messages(), ElementsAre(MovedLine(fits, "key")));
  EXPECT_THAT(reports_, testing::Contains(folder + "/" + tooLong + ": not read, -37, in " +
                                          InDestination("key")));
}

TEST_F(PassTest, SkipsKeyFolderWithTooLongPath) {
  std::string folder = destination_;
  while (folder.size() < 2047 - 200) folder += "/" + std::string(99, 'd');
  MakeFolder(folder);
  const FSRef destination = RefAt(folder);
  const std::u16string fits(2047 - folder.size() - 1, u'k');
  WriteFile(InSource("a.txt"));
  RunPass(RefAt(source_), &destination, RulesWithKey(fits + u"k"));
  EXPECT_THAT(NamesIn(source_), ElementsAre("a.txt"));
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kNoKeyFolder));
  RunPass(RefAt(source_), &destination, RulesWithKey(fits));
  EXPECT_THAT(NamesIn(folder + "/" + Utf8FromUtf16(fits)), ElementsAre("a.txt"));
  EXPECT_THAT(Messages(), ElementsAre(MovedLine("a.txt", Utf8FromUtf16(fits))));
}

TEST_F(PassTest, ReportsSizesIfWanted) {
  WriteFile(InSource("a.txt"), "12345");
  std::optional<uint64_t> size;
  for (const bool isWanted : {false, true}) {
    SetEngineHooks({.observeItem = [&size](const ItemReport& report) { size = report.size; },
                    .wantsSizes = isWanted});
    RunWith(RulesWithKey(std::nullopt));
    EXPECT_EQ(isWanted ? std::optional<uint64_t>(5) : std::nullopt, size);
  }
  RunWith(RulesWithKey(u"k"));
  EXPECT_EQ(5U, size);
}

TEST_F(PassTest, NeedsNoObserver) {
  SetEngineHooks({});
  WriteFile(InSource("a.txt"));
  RunWith(RulesWithKey(u"key"));
  EXPECT_EQ("key progress copy ", calls_);
  EXPECT_TRUE(Exists(InDestination("key/a.txt")));
}

TEST_F(GetOrCreateKeyFolderTest, CreatesFolderOnce) {
  const FSRef parent = RefAt(destination_);
  FSRef made;
  FSRef found;
  ASSERT_EQ(noErr, GetOrCreateKeyFolder(parent, u"key", &made));
  ASSERT_EQ(noErr, GetOrCreateKeyFolder(parent, u"key", &found));
  EXPECT_EQ(noErr, FSCompareFSRefs(made, found));
  EXPECT_THAT(NamesIn(destination_), ElementsAre("key"));
}

TEST_F(GetOrCreateKeyFolderTest, KeyMayHoldSlash) {
  FSRef made;
  ASSERT_EQ(noErr, GetOrCreateKeyFolder(RefAt(destination_), u"image/jpeg", &made));
  EXPECT_THAT(NamesIn(destination_), ElementsAre("image:jpeg"));
}

TEST_F(GetOrCreateKeyFolderTest, FindsObjectOfAnyKind) {
  WriteFile(InDestination("file"), "kept");
  MakeFolder(InDestination("Tool.app"));
  MakeLink("nowhere", InDestination("dangling"));
  for (const std::u16string name : {u"file", u"Tool.app", u"dangling"}) {
    FSRef found;
    EXPECT_EQ(noErr, GetOrCreateKeyFolder(RefAt(destination_), name, &found));
    EXPECT_EQ(noErr, FSCompareFSRefs(found, RefAt(InDestination(Utf8FromUtf16(name)))));
  }
  EXPECT_EQ(3U, NamesIn(destination_).size());
  EXPECT_EQ("kept", ReadFile(InDestination("file")));
}

TEST_F(GetOrCreateKeyFolderTest, AllZeroAfterFailedLookup) {
  FSRef found = RefAt(destination_);
  EXPECT_EQ(noErr, GetOrCreateKeyFolder(RefAt(destination_), u"..", &found));
  EXPECT_TRUE(IsZero(found));
}

TEST_F(GetOrCreateKeyFolderTest, RejectsNullArgument) {
  EXPECT_EQ(paramErr, GetOrCreateKeyFolder(RefAt(destination_), u"key", nullptr));
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
}

}  // namespace
}  // namespace tessary::test
