#include "tests/faults/run_plan.h"

#include <gtest/gtest.h>

#include "tests/faults/two_volumes.h"
#include "tests/support/temporary_folder.h"

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

void RunSoakRounds(const std::string& title, unsigned few, bool isAcross, bool isAlsoOnDisk,
                   const SoakRound& runOnce) {
  const TwoVolumes volumes;
  if (isAcross && !volumes.AreDifferent())
    GTEST_SKIP() << "there are no two volumes to be had here";
  for (SoakRounds rounds(title, few); rounds.Next();) {
    SCOPED_TRACE(rounds.Describe());
    const bool isOnDisk = isAlsoOnDisk && rounds.random().OneIn(8);
    const std::string& other = isOnDisk ? volumes.OnDisk() : volumes.second();
    const TemporaryFolder first(volumes.first());
    const TemporaryFolder second(isAcross ? other : volumes.first());
    runOnce(first.path(), second.path(), rounds.random());
  }
}

}  // namespace tessary::test
