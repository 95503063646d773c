#include "platform/qt/turn_queue.h"

#include <QMetaObject>
#include <utility>

namespace tessary {

void TurnQueue::Open() {
  isOpen_ = true;
  Schedule();
}

void TurnQueue::Post(std::function<void()> turn) {
  waiting_.push_back(std::move(turn));
  Schedule();
}

void TurnQueue::RunOrPost(std::function<void()> turn) {
  if (IsIdle()) {
    Run(turn);
  } else {
    Post(std::move(turn));
  }
}

void TurnQueue::Run(const std::function<void()>& turn) {
  isRunning_ = true;
  turn();
  isRunning_ = false;
  Schedule();
}

void TurnQueue::RunNext() {
  isScheduled_ = false;
  if (!isOpen_ || isRunning_ || waiting_.empty()) return;
  const std::function<void()> turn = std::move(waiting_.front());
  waiting_.pop_front();
  Run(turn);
}

// While a turn is running there is nothing to schedule: its end does that.
void TurnQueue::Schedule() {
  if (!isOpen_ || isRunning_ || isScheduled_ || waiting_.empty()) return;
  isScheduled_ = true;
  QMetaObject::invokeMethod(
      &context_, [this] { RunNext(); }, Qt::QueuedConnection);
}

}  // namespace tessary
