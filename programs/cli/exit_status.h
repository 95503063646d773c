#pragma once

namespace tessary {

// What the program ends with, for scripts.
enum class ExitStatus : int {
  kAllFiled = 0,  // also: the command did what it was asked for
  kNoRun = 1,  // the run, or the command, did not take place; one line on standard error says why
  kBadUsage = 2,    // the command line cannot be understood; nothing was done
  kSomeFailed = 3,  // some items could not be filed, or some of the files not be told of
};

}  // namespace tessary
