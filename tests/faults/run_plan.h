#pragma once

#include <string>
#include <vector>

#include "tests/faults/child_process.h"
#include "tests/support/soak.h"

namespace tessary::test {

// The options of a run of tessary-cli.
struct RunPlan {
  bool isMove = false;
  bool isByDate = false;  // otherwise by extension
  bool isReplacing = false;
  bool isRecursing = true;

  std::vector<std::string> Arguments(const std::string& source,
                                     const std::string& destination) const;
};

// Makes a run depend on the settings in the folder `config` only, not on those of this machine.
ChildSetup SetupWith(const std::string& config);

// Waits for the end of a run, which the violations are to name as `what`. Counts a run that takes
// too long as "hung".
void AwaitEnd(ChildProcess* run, const std::string& what, Soak* soak);

// The same, and counts a run with another exit status than 0 as "lost".
void AwaitSuccess(ChildProcess* run, const std::string& what, Soak* soak);

}  // namespace tessary::test
