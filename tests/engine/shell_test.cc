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
  SetEngineHooks({.observeItem = [&](const std::string& path, ItemOutcome outcome) {
    calls.push_back(path + (outcome == ItemOutcome::kFailed ? " failed" : " other"));
  }});
  ObserveItem("/a", ItemOutcome::kFailed);
  EXPECT_THAT(calls, ElementsAre("/a failed"));
}

TEST_F(EngineHooksTest, SettingReplacesAllHooks) {
  int calls = 0;
  SetEngineHooks({.runAggregation = [&](const FSRef&) { ++calls; },
                  .observeItem = [&](const std::string&, ItemOutcome) { ++calls; }});
  SetEngineHooks({.showProgressText = [](const std::string&, int) {}});
  EXPECT_TRUE(GetEngineHooks().showProgressText);
  EXPECT_FALSE(GetEngineHooks().runAggregation);
  ObserveItem("/a", ItemOutcome::kFailed);
  EXPECT_EQ(0, calls);
}

}  // namespace
}  // namespace tessary::test
