#include "platform/qt/task_queue.h"

#include <QMetaObject>
#include <utility>

namespace tessary {

void TaskQueue::Open() {
  isOpen_ = true;
  Schedule();
}

void TaskQueue::Post(std::function<void()> task) {
  waiting_.push_back(std::move(task));
  Schedule();
}

void TaskQueue::RunOrPost(std::function<void()> task) {
  if (IsIdle()) {
    Run(task);
  } else {
    Post(std::move(task));
  }
}

void TaskQueue::Run(const std::function<void()>& task) {
  isRunning_ = true;
  if (prologue_) prologue_();
  task();
  isRunning_ = false;
  Schedule();
}

void TaskQueue::RunNext() {
  isScheduled_ = false;
  if (!isOpen_ || isRunning_ || waiting_.empty()) return;
  const std::function<void()> task = std::move(waiting_.front());
  waiting_.pop_front();
  Run(task);
}

// Schedules nothing while a task runs: Run schedules the next task at its end.
void TaskQueue::Schedule() {
  if (!isOpen_ || isRunning_ || isScheduled_ || waiting_.empty()) return;
  isScheduled_ = true;
  QMetaObject::invokeMethod(
      &context_, [this] { RunNext(); }, Qt::QueuedConnection);
}

}  // namespace tessary
