#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/faults/child_process.h"
#include "tests/support/soak.h"

// What harnesses share that try runs of the program between two folders.
namespace tessary::test {

constexpr unsigned kHangSeconds = 60;  // no run takes so long

// What a run is told to do.
struct RunPlan {
  bool isMove = false;
  bool isByDate = false;     // otherwise by extension
  bool isReplacing = false;  // what bears the same name makes way
  bool isRecursing = true;

  std::vector<std::string> Arguments(const std::string& source,
                                     const std::string& destination) const;
};

// A run for which only the settings in the folder `config` count, and nothing else of this
// machine's.
ChildSetup SetupWith(const std::string& config);

// Calls `runOnce` with two empty folders for as many rounds as are due, `few` where nobody asks for
// more. The folders are on one volume, or where `isAcross` on two; the second one is sometimes on
// the disk, where everything takes longer, if `isAlsoOnDisk`. Skips the test where there are no two
// volumes.
using SoakRound =
    std::function<void(const std::string& first, const std::string& second, SoakRandom& random)>;
void RunSoakRounds(const std::string& title, unsigned few, bool isAcross, bool isAlsoOnDisk,
                   const SoakRound& runOnce);

}  // namespace tessary::test
