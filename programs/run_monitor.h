#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "engine/shell.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/status.h"
#include "platform/qt/window_system.h"
#include "programs/cli/run_totals.h"

namespace tessary {

// Follows the runs of the desktop program: names in the log what the engine does not log, marks the
// lines of failures there, and has the notifications shown. Sets the hooks of the application layer
// and the engine's hook for items for its lifetime.
class RunMonitor {
 public:
  // `system` is owned by the caller and must outlive this object.
  explicit RunMonitor(QtWindowSystem* system);
  ~RunMonitor();
  RunMonitor(const RunMonitor&) = delete;
  RunMonitor& operator=(const RunMonitor&) = delete;

 private:
  void AskDestination(const FSRef& source);
  void BeginRun(const FSRef& destination);
  void EndRun(bool isLast);
  void RefuseSource(const std::string& path, const std::string& problem);
  void ObserveItem(const ItemReport& report);
  void LogFailure(const std::string& object, const std::string& problem);

  QtWindowSystem* system_;
  size_t sourceNumber_ = 1;
  size_t sourceCount_ = 1;
  std::string source_;  // paths of the current or the last run
  std::string destination_;
  std::optional<RunTotals> totals_;  // during a run
  std::chrono::steady_clock::time_point start_;
};

}  // namespace tessary
