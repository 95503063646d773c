#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tessary::test {

// A call that a supervised process is about to make.
struct SupervisedCall {
  int number = 0;           // SYS_...
  uint64_t arguments[6]{};  // as the kernel has them: descriptors, flags, addresses there
  pid_t process = 0;        // which is held until it is decided
};

// How a supervised process ended.
struct SupervisedResult {
  bool isSupervised = false;  // false where the kernel lends nobody such a filter; nothing ran
  bool hasTimedOut = false;   // it was killed when its time was over
  int signal = 0;             // what it died of, else 0
  int exitStatus = 0;
};

// Runs `body` in a child process and asks `decide` about each call of one of the numbers before it
// is made: 0 lets it go on, an errno value makes it fail with that and without having done
// anything. A descriptor that the child is told it could not close is closed all the same, as on
// Linux it always is. Writing to the standard files is nobody's business here and goes on. The
// child ends with what `finish` makes of the answer of `body`, whose calls nobody is asked about;
// what it writes to its standard output and error is added to `*output`. `seconds` is what it may
// take.
SupervisedResult RunSupervised(const std::vector<int>& numbers,
                               const std::function<int(const SupervisedCall&)>& decide,
                               const std::function<int()>& body,
                               const std::function<int(int status)>& finish, int seconds,
                               std::string* output);

// "renameat2" for SYS_renameat2; the number as text for one that is not in the table.
std::string NameOfCall(int number);

// The errno value's own name: "ENOSPC".
std::string NameOfError(int error);

// Every call of the table: all those through which a program looks at files or changes them.
std::vector<int> FileCalls();

}  // namespace tessary::test
