#include "engine/shell.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(EngineHooks, AreCalledWithWhatTheEngineTells) {
  std::string told;
  SetEngineHooks({
      .showProgressText = [&](const std::string& text,
                              int target) { told += text + std::to_string(target) + ";"; },
      .runAggregation =
          [&](const FSRef& source) {
            told += FSCompareFSRefs(source, RefAt("/")) == noErr ? "run;" : "other;";
          },
      .observeItem =
          [&](const std::string& path, ItemOutcome outcome) {
            told += path + (outcome == ItemOutcome::kFailed ? " failed;" : " other;");
          },
  });
  ReportProgressText("text", 1);
  StartRun(RefAt("/"));
  ObserveItem("/a", ItemOutcome::kFailed);
  EXPECT_EQ("text1;run;/a failed;", told);

  // Those supplied later replace them all; what is not supplied is not called.
  SetEngineHooks({});
  ReportProgressText("text", 1);
  StartRun(RefAt("/"));
  ObserveItem("/a", ItemOutcome::kFailed);
  EXPECT_EQ("text1;run;/a failed;", told);
}

}  // namespace
}  // namespace tessary::test
