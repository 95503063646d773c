#pragma once

#include <QObject>
#include <deque>
#include <functional>

namespace tessary {

// What reaches the program from outside (commands, timers, drops, requests of other programs) is
// handled in tasks, one at a time and in the order of arrival. A panel runs a loop of its own in
// the middle of a task; whatever arrives meanwhile waits here until that task has ended.
class TaskQueue {
 public:
  // Nothing takes its task before Open.
  TaskQueue() = default;
  TaskQueue(const TaskQueue&) = delete;
  TaskQueue& operator=(const TaskQueue&) = delete;

  // Lets tasks begin. Those that are waiting begin when the event loop comes round.
  void Open();

  // Has the event loop run `task` when those before it have ended.
  void Post(std::function<void()> task);

  // Runs `task` at once where no other is running or waiting; posts it otherwise.
  void RunOrPost(std::function<void()> task);

  // True when a task could begin at once.
  bool IsIdle() const { return isOpen_ && !isRunning_ && waiting_.empty(); }

  // What timers and connections that post tasks are bound to, so that they end with the queue.
  QObject* Context() { return &context_; }

 private:
  void Run(const std::function<void()>& task);
  void RunNext();
  void Schedule();

  std::deque<std::function<void()>> waiting_;
  bool isOpen_ = false;
  bool isRunning_ = false;
  bool isScheduled_ = false;
  QObject context_;
};

}  // namespace tessary
