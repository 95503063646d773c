#include "app/run_hooks.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "app/opened_items.h"
#include "platform/file_system.h"
#include "platform/strings.h"
#include "tests/app/application_fixture.h"

namespace tessary::test {
namespace {

class RunHooksTest : public ApplicationTest {
 protected:
  RunHooksTest() {
    SetRunHooks(
        {.beginSource =
             [this](size_t number, size_t count) {
               calls_.push_back("source " + std::to_string(number) + " of " +
                                std::to_string(count));
             },
         .askDestination =
             [this](const FSRef& source) { calls_.push_back("ask " + PathOf(source)); },
         .beginRun = [this](const FSRef& folder) { calls_.push_back("begin " + PathOf(folder)); },
         .endRun = [this](bool isLast) { calls_.push_back(isLast ? "end, last" : "end"); },
         .refuseSource =
             [this](const std::string& path, Status status) {
               calls_.push_back("refuse " + path + " " + std::to_string(static_cast<int>(status)));
             }});
  }
  ~RunHooksTest() override { SetRunHooks({}); }

  static std::string PathOf(const FSRef& ref) { return StringWithFSRef(&ref).value_or(""); }

  Calls calls_;
};

TEST_F(RunHooksTest, FollowRun) {
  const std::string source = MakeSource();
  const std::string destination = MakeDestination();
  system_.AnswerPanel(destination);
  EXPECT_EQ(noErr, RunProgram([&] { ProcessPendingSources(source); }));
  EXPECT_EQ((Calls{"source 1 of 1", "ask " + source, "begin " + destination, "end"}), calls_);
}

TEST_F(RunHooksTest, LastRunBeforeQuitting) {
  preferences_.Write("QuitWhenDone = true\n");
  system_.AnswerPanel(MakeDestination());
  EXPECT_THROW((void)RunProgram([&] { ProcessPendingSources(MakeSource()); }), ProcessEnd);
  EXPECT_EQ("end, last", calls_.back());
}

TEST_F(RunHooksTest, CancelledPanelStartsNothing) {
  const std::string source = MakeSource();
  EXPECT_EQ(noErr, RunProgram([&] { ProcessPendingSources(source); }));
  EXPECT_EQ((Calls{"source 1 of 1", "ask " + source}), calls_);
}

TEST_F(RunHooksTest, UnusableSourcesAreRefused) {
  const std::string file = folder_ / "file.txt";
  WriteFile(file);
  EXPECT_EQ(noErr, RunProgram([&] {
              ProcessPendingSources(file);
              ProcessPendingSources(folder_ / "missing");
            }));
  EXPECT_EQ((Calls{"source 1 of 1", "refuse " + file + " -1407", "source 1 of 1",
                   "refuse " + (folder_ / "missing") + " -43"}),
            calls_);
}

// An item can vanish between the event and its timer.
TEST_F(RunHooksTest, PendingItemsAreNumbered) {
  const std::string first = MakeSource("first");
  const std::string second = MakeSource("second");
  std::vector<FSSpec> specs(2);
  for (size_t item = 0; item < specs.size(); ++item) {
    FSRef ref;
    ASSERT_EQ(noErr, FSPathMakeRef((item == 0 ? first : second).c_str(), &ref));
    ASSERT_EQ(noErr, GetLegacyFileSpec(ref, &specs[item]));
  }
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(noErr, SendOpenDocumentsToSelf(specs.size(), specs.data()));
              std::filesystem::remove_all(first);
            }));
  EXPECT_EQ((Calls{"source 1 of 2", "refuse  -43", "source 2 of 2", "ask " + second}), calls_);
}

}  // namespace
}  // namespace tessary::test
