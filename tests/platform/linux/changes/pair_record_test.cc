#include "platform/linux/changes/pair_record.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace tessary {
namespace {

PairIntent MakeIntent(PairChange change, const std::string& name, const std::string& newName,
                      const std::string& otherPath) {
  PairIntent intent;
  intent.change = change;
  intent.name = name;
  intent.newName = newName;
  intent.otherPath = otherPath;
  intent.item = {.identity = {}, .type = 1, .size = 2, .seconds = -3, .nanoseconds = 4};
  return intent;
}

TEST(ParsePairIntent, GivesBackWhatWasFormatted) {
  const std::array<PairIntent, 4> intents = {
      MakeIntent(PairChange::kMove, "a\n\xFF", "..b", "/folder"),
      MakeIntent(PairChange::kMoveAcross, "a", "b", ""),
      MakeIntent(PairChange::kCopy, "...", "b", ""),
      MakeIntent(PairChange::kDelete, "a", "", ""),
  };
  for (const PairIntent& intent : intents) {
    const std::string bytes = FormatPairIntent(intent);
    const std::optional<PairIntent> parsed = ParsePairIntent(bytes);
    ASSERT_TRUE(parsed) << intent.name;
    EXPECT_EQ(intent.newName, parsed->newName);
    EXPECT_EQ(-3, parsed->item.seconds);
    EXPECT_EQ(bytes, FormatPairIntent(*parsed));
    EXPECT_FALSE(ParsePairIntent(std::string_view(bytes).substr(0, bytes.size() - 1)));
  }
}

TEST(ParsePairIntent, RefusesNamesThatLeadToAnotherFolder) {
  const std::array<PairIntent, 9> intents = {
      MakeIntent(PairChange::kCopy, "a", "b/../../c", ""),
      MakeIntent(PairChange::kCopy, "a", "..", ""),
      MakeIntent(PairChange::kCopy, "a", "", ""),
      MakeIntent(PairChange::kMove, "/a", "b", "/folder"),
      MakeIntent(PairChange::kMove, "", "b", "/folder"),
      MakeIntent(PairChange::kMove, "a", "b", "folder"),
      MakeIntent(PairChange::kMoveAcross, ".", "b", "/folder"),
      MakeIntent(PairChange::kDelete, "a/", "", ""),
      MakeIntent(PairChange::kDelete, "a", "b/c", ""),
  };
  for (const PairIntent& intent : intents) {
    EXPECT_FALSE(ParsePairIntent(FormatPairIntent(intent)))
        << intent.name << " " << intent.newName << " " << intent.otherPath;
  }
}

}  // namespace
}  // namespace tessary
