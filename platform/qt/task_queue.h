#pragma once

#include <QObject>
#include <deque>
#include <functional>
#include <utility>

namespace tessary {

// Runs the program's responses to commands, timers, drops and D-Bus requests one at a time, in the
// order of arrival. A panel runs a nested event loop in the middle of a task; tasks that arrive
// meanwhile wait until that task returns.
class TaskQueue {
 public:
  // Tasks wait until Open is called.
  TaskQueue() = default;
  TaskQueue(const TaskQueue&) = delete;
  TaskQueue& operator=(const TaskQueue&) = delete;

  // Sets a function to call before each task.
  void SetPrologue(std::function<void()> prologue) { prologue_ = std::move(prologue); }

  // Allows tasks to run. Waiting tasks start from the event loop.
  void Open();

  // Queues `task`. The event loop runs it after the tasks before it.
  void Post(std::function<void()> task);

  // Runs `task` before returning if no other task is running or waiting; queues it otherwise.
  void RunOrPost(std::function<void()> task);

  // True if RunOrPost would run a task before returning.
  bool IsIdle() const { return isOpen_ && !isRunning_ && waiting_.empty(); }

  // The context object for timers and connections that post tasks: they end with the queue.
  QObject* Context() { return &context_; }

 private:
  void Run(const std::function<void()>& task);
  void RunNext();
  void Schedule();

  std::function<void()> prologue_;
  std::deque<std::function<void()>> waiting_;
  bool isOpen_ = false;
  bool isRunning_ = false;
  bool isScheduled_ = false;
  QObject context_;
};

}  // namespace tessary
