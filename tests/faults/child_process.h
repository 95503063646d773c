#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/memory_file.h"

namespace tessary::test {

struct ChildSetup {
  std::map<std::string, std::string> environment = {};  // added to this process's environment
  std::vector<InjectedError> injectedErrors = {};
};

// tessary-cli, running until it ends or is killed. The destructor kills it, and so does the end of
// this process.
class ChildProcess {
 public:
  ChildProcess(const std::vector<std::string>& arguments, const ChildSetup& setup);
  ~ChildProcess() { Kill(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Kills it, as kill -9 does.
  void Kill();

  // Stops it and continues it, by SIGSTOP and SIGCONT.
  void Stop();
  void Continue();

  // Waits for its end. If it does not end within so many seconds, kills it and returns false.
  bool Wait(unsigned seconds);

  // Returns whether it has ended by itself. Does not wait.
  bool HasEnded();

  // After its end: the exit status, or 128 plus the number of the signal that ended it.
  int status() const { return status_; }

  // What it has written to standard error so far.
  std::string Errors() const { return errors_.Contents(); }

 private:
  bool Reap(int flags);

  MemoryFile errors_;
  pid_t pid_ = -1;
  int status_ = -1;
};

// Runs tessary-cli and kills it at its `stops`-th stop: each system call is two stops, one before
// it is made and one after. If `before` is set, calls it while the process is stopped there.
// Returns the number of stops, which is smaller if the process ended by itself, and 0 where this
// process may not trace.
uint64_t RunAndKillAtStop(const std::vector<std::string>& arguments, const ChildSetup& setup,
                          uint64_t stops, const std::function<void()>& before = nullptr);

// The same, counting only the stops at calls that create, change or remove a name or create an
// anonymous file. Returns whether the process was killed.
bool RunAndKillAtChange(const std::vector<std::string>& arguments, const ChildSetup& setup,
                        uint64_t stops);

}  // namespace tessary::test
