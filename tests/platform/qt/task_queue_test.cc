#include "platform/qt/task_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <string>
#include <vector>

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TaskQueueTest : public testing::Test {
 protected:
  std::function<void()> Note(const std::string& text) {
    return [this, text] { done_.push_back(text); };
  }

  static void RunLoop() { QCoreApplication::processEvents(); }

  TaskQueue tasks_;
  std::vector<std::string> done_;
};

TEST_F(TaskQueueTest, BeginsNothingBeforeItIsOpen) {
  tasks_.Post(Note("posted"));
  tasks_.RunOrPost(Note("run"));
  RunLoop();
  EXPECT_THAT(done_, IsEmpty());
  tasks_.Open();
  EXPECT_THAT(done_, IsEmpty());
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("posted", "run"));
}

TEST_F(TaskQueueTest, RunsAtOnceOnlyWhenNothingIsRunningOrWaiting) {
  tasks_.Open();
  tasks_.RunOrPost(Note("first"));
  EXPECT_THAT(done_, ElementsAre("first"));
  tasks_.Post(Note("second"));
  tasks_.RunOrPost(Note("third"));
  EXPECT_THAT(done_, ElementsAre("first"));
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("first", "second", "third"));
}

TEST_F(TaskQueueTest, LetsWhatComesDuringATurnsOwnLoopWaitForItsEnd) {
  tasks_.Open();
  tasks_.RunOrPost([this] {
    tasks_.Post(Note("request"));
    tasks_.RunOrPost(Note("command"));
    RunLoop();
    done_.emplace_back("panel answered");
  });
  EXPECT_THAT(done_, ElementsAre("panel answered"));
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("panel answered", "request", "command"));
}

}  // namespace
}  // namespace tessary::test
