#pragma once

#include <QCoreApplication>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/qt/log_window.h"
#include "platform/qt/notifications.h"
#include "platform/qt/session_log.h"
#include "platform/qt/task_queue.h"

namespace tessary {

// How a run ended.
struct RunSummary {
  std::string source;  // names, as shown to the user
  std::string destination;
  uint64_t filed = 0;
  uint64_t failed = 0;
  uint64_t total = 0;
  double seconds = 0;
  bool isLast = false;  // the program quits after this run, so that no action can be invoked
};

// What the user is told about runs outside of the main window: the log and the notifications.
class RunReports {
  Q_DECLARE_TR_FUNCTIONS(RunReports)

 public:
  // Receives the log lines of the process until it is destroyed. `tasks` is owned by the caller and
  // must outlive this object.
  explicit RunReports(TaskQueue* tasks);
  ~RunReports();
  RunReports(const RunReports&) = delete;
  RunReports& operator=(const RunReports&) = delete;

  // Marks the log line that was written last as a failure, for that reason.
  void MarkFailure(const std::string& problem) { log_.MarkNewestAsFailure(problem); }

  // Shows a notification if items have failed, or if the run took long and no window of the program
  // is active.
  void ShowRunEnd(const RunSummary& summary);

  // Shows a notification about a source that cannot be run.
  void ShowSourceProblem(const std::string& source, const std::string& problem);

  void ShowLog();

 private:
  LogWindow& Window();
  void ShowWithAction(Notification notification);

  TaskQueue* tasks_;
  SessionLog log_;
  Notifications notifications_;
  std::unique_ptr<LogWindow> window_;  // made when it is shown for the first time
};

}  // namespace tessary
