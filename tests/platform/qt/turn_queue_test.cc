#include "platform/qt/turn_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <string>
#include <vector>

namespace tessary {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TurnQueueTest : public ::testing::Test {
 protected:
  std::function<void()> Note(const std::string& text) {
    return [this, text] { done_.push_back(text); };
  }

  static void RunLoop() { QCoreApplication::processEvents(); }

  TurnQueue turns_;
  std::vector<std::string> done_;
};

TEST_F(TurnQueueTest, BeginsNothingBeforeItIsOpen) {
  turns_.Post(Note("posted"));
  turns_.RunOrPost(Note("run"));
  RunLoop();
  EXPECT_THAT(done_, IsEmpty());
  turns_.Open();
  EXPECT_THAT(done_, IsEmpty());
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("posted", "run"));
}

TEST_F(TurnQueueTest, RunsAtOnceOnlyWhenNothingIsRunningOrWaiting) {
  turns_.Open();
  turns_.RunOrPost(Note("first"));
  EXPECT_THAT(done_, ElementsAre("first"));
  turns_.Post(Note("second"));
  turns_.RunOrPost(Note("third"));
  EXPECT_THAT(done_, ElementsAre("first"));
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("first", "second", "third"));
}

TEST_F(TurnQueueTest, LetsWhatComesDuringATurnsOwnLoopWaitForItsEnd) {
  turns_.Open();
  turns_.RunOrPost([this] {
    turns_.Post(Note("request"));
    turns_.RunOrPost(Note("command"));
    RunLoop();
    done_.emplace_back("panel answered");
  });
  EXPECT_THAT(done_, ElementsAre("panel answered"));
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("panel answered", "request", "command"));
}

}  // namespace
}  // namespace tessary
