#include "tests/faults/run_plan.h"

namespace tessary::test {

std::vector<std::string> RunPlan::Arguments(const std::string& source,
                                            const std::string& destination) const {
  std::vector<std::string> arguments = {"aggregate",
                                        isByDate ? "--kind=modification-date" : "--kind=extension",
                                        isMove ? "--move" : "--copy"};
  if (isRecursing) arguments.emplace_back("--recurse");
  if (isReplacing) arguments.emplace_back("--replace");
  arguments.push_back(source);
  arguments.push_back(destination);
  return arguments;
}

ChildSetup SetupWith(const std::string& config) {
  return {.environment = {{"XDG_CONFIG_HOME", config},
                          {"XDG_DATA_HOME", config},
                          {"XDG_DATA_DIRS", config},
                          {"TZ", "UTC"},
                          {"LC_ALL", "C"}}};
}

void AwaitEnd(ChildProcess* run, const std::string& what, Soak* soak) {
  constexpr unsigned kMaxSeconds = 120;
  if (!run->Wait(kMaxSeconds)) soak->AddViolation("hung", what);
}

void AwaitSuccess(ChildProcess* run, const std::string& what, Soak* soak) {
  AwaitEnd(run, what, soak);
  if (run->status() != 0) soak->AddViolation("lost", what + " failed: " + run->Errors());
}

}  // namespace tessary::test
