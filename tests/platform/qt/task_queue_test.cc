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
  // A task that records its name.
  std::function<void()> Record(const std::string& name) {
    return [this, name] { done_.push_back(name); };
  }

  static void RunLoop() { QCoreApplication::processEvents(); }

  TaskQueue tasks_;
  std::vector<std::string> done_;
};

TEST_F(TaskQueueTest, WaitsUntilOpen) {
  tasks_.Post(Record("posted"));
  tasks_.RunOrPost(Record("run"));
  RunLoop();
  EXPECT_THAT(done_, IsEmpty());
  tasks_.Open();
  EXPECT_THAT(done_, IsEmpty());
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("posted", "run"));
}

TEST_F(TaskQueueTest, RunsImmediatelyOnlyIfIdle) {
  tasks_.Open();
  tasks_.RunOrPost(Record("first"));
  EXPECT_THAT(done_, ElementsAre("first"));
  tasks_.Post(Record("second"));
  tasks_.RunOrPost(Record("third"));
  EXPECT_THAT(done_, ElementsAre("first"));
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("first", "second", "third"));
}

TEST_F(TaskQueueTest, QueuesTasksDuringNestedLoop) {
  tasks_.Open();
  tasks_.RunOrPost([this] {
    tasks_.Post(Record("request"));
    tasks_.RunOrPost(Record("command"));
    RunLoop();
    done_.emplace_back("panel answered");
  });
  EXPECT_THAT(done_, ElementsAre("panel answered"));
  RunLoop();
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("panel answered", "request", "command"));
}

TEST_F(TaskQueueTest, CallsPrologueBeforeEachTask) {
  tasks_.SetPrologue(Record("prologue"));
  tasks_.Open();
  tasks_.RunOrPost(Record("first"));
  tasks_.Post(Record("second"));
  RunLoop();
  EXPECT_THAT(done_, ElementsAre("prologue", "first", "prologue", "second"));
}

}  // namespace
}  // namespace tessary::test
