#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/fault_injection/injected_errors.h"

namespace tessary::test {

struct ChildSetup {
  std::map<std::string, std::string> environment = {};  // on top of the caller's
  std::vector<InjectedError> injectedErrors = {};       // calls that the kernel does not know
};

// The real program, running beside this process until it ends or is killed. It goes when this does.
class Child {
 public:
  Child(const std::vector<std::string>& arguments, const ChildSetup& setup);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Ends it at once, as kill -9 does, wherever it is.
  void Kill();

  // Stops it, and lets it go on.
  void Stop();
  void Continue();

  // Waits for its end; false where it does not end in so many seconds, upon which it is killed.
  bool Wait(unsigned seconds);

  // True when it has ended by itself. Does not wait.
  bool HasEnded();

  // After its end: the exit status, or 128 and the number of the signal that ended it.
  int status() const { return status_; }

  // What it has written to standard error and standard output.
  std::string Errors() const;
  std::string Output() const;

 private:
  bool Reap(int flags);

  pid_t pid_ = -1;
  int errors_ = -1;
  int output_ = -1;
  int status_ = -1;
};

// Runs the program and kills it when it has begun or ended its `calls`-th system call, after
// `before`, if there is any, while it stands still there. Answers how many of both it got to, which
// are fewer when it ended before; 0 where this process may not trace.
uint64_t KillAtCall(const std::vector<std::string>& arguments, const ChildSetup& setup,
                    uint64_t calls, const std::function<void()>& before = nullptr);

// The same, counting only the calls that make, change or remove names, the making of a file
// without one among them. True when it was killed there.
bool KillAtChange(const std::vector<std::string>& arguments, const ChildSetup& setup,
                  uint64_t changes);

}  // namespace tessary::test
