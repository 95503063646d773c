#include "engine/shell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessary::test {
namespace {

using testing::ElementsAre;

class EngineHooksTest : public testing::Test {
 protected:
  ~EngineHooksTest() override { SetEngineHooks({}); }
};

TEST_F(EngineHooksTest, ObserveItemCallsTheObserver) {
  std::vector<std::string> calls;
  SetEngineHooks({.observeItem = [&](const ItemReport& report) {
    calls.push_back(std::string(report.path) + " " + std::to_string(report.status));
  }});
  ObserveItem({.path = "/a", .outcome = ItemOutcome::kNotTransferred, .status = dskFulErr});
  EXPECT_THAT(calls, ElementsAre("/a -34"));
}

TEST(IsFailure, FalseForFiledAndSkipped) {
  for (const ItemOutcome outcome : {ItemOutcome::kFiled, ItemOutcome::kSkipped}) {
    EXPECT_FALSE(IsFailure(outcome));
  }
  for (const ItemOutcome outcome :
       {ItemOutcome::kNotRead, ItemOutcome::kNoKeyFolder, ItemOutcome::kNotTransferred,
        ItemOutcome::kCommentNotCopied, ItemOutcome::kFolderNotListed, ItemOutcome::kNoRun}) {
    EXPECT_TRUE(IsFailure(outcome));
  }
}

TEST(NewPathOf, JoinsFolderAndPosixName) {
  EXPECT_EQ("/d/image:jpeg/a:b",
            NewPathOf({.path = "/s/a:b", .folderPath = "/d/image:jpeg", .newName = u"a/b"}));
  EXPECT_EQ("", NewPathOf({.path = "/s/a", .folderPath = "/d/txt"}));
}

TEST_F(EngineHooksTest, SettingReplacesAllHooks) {
  int calls = 0;
  SetEngineHooks({.runAggregation = [&](const FSRef&) { ++calls; },
                  .observeItem = [&](const ItemReport&) { ++calls; }});
  SetEngineHooks({.showProgressText = [](const std::string&, int) {}});
  EXPECT_TRUE(GetEngineHooks().showProgressText);
  EXPECT_FALSE(GetEngineHooks().runAggregation);
  ObserveItem({.path = "/a"});
  EXPECT_EQ(0, calls);
}

}  // namespace
}  // namespace tessary::test
