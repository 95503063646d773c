#pragma once

#include <QObject>
#include <deque>
#include <functional>

namespace tessary {

// What reaches the program from outside (commands, timers, drops, requests of other programs) is
// handled in turns, one at a time and in the order of arrival. A panel runs a loop of its own in
// the middle of a turn; whatever arrives meanwhile waits here until that turn has ended.
class TurnQueue {
 public:
  // Nothing takes its turn before Open.
  TurnQueue() = default;
  TurnQueue(const TurnQueue&) = delete;
  TurnQueue& operator=(const TurnQueue&) = delete;

  // Lets turns begin. Those that are waiting begin when the event loop comes round.
  void Open();

  // Has the event loop run `turn` when those before it have ended.
  void Post(std::function<void()> turn);

  // Runs `turn` at once where no other is running or waiting; posts it otherwise.
  void RunOrPost(std::function<void()> turn);

  // True when a turn could begin at once.
  bool IsIdle() const { return isOpen_ && !isRunning_ && waiting_.empty(); }

  // What timers and connections that post turns are bound to, so that they end with the queue.
  QObject* Context() { return &context_; }

 private:
  void Run(const std::function<void()>& turn);
  void RunNext();
  void Schedule();

  std::deque<std::function<void()>> waiting_;
  bool isOpen_ = false;
  bool isRunning_ = false;
  bool isScheduled_ = false;
  QObject context_;
};

}  // namespace tessary
