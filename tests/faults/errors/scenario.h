#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/support/fault_injection/supervised_calls.h"

namespace tessary::test {

// A kind of run into which faults are injected.
struct Scenario {
  std::string name;
  std::vector<std::string> options;  // of the command aggregate, besides --recurse
  bool isMove = false;
  bool isAcross = false;  // the destination is on another filesystem
  bool isByDate = false;
  std::string replaced = {};  // the existing item that is replaced, relative to the destination
  bool hasComments = false;
  bool hasSidecars = false;
};

const std::vector<Scenario>& Scenarios();

// The exit status of a run that left descriptors or memory allocated.
inline constexpr int kLeakExitStatus = 97;

// Runs the command line program with these arguments in a child process, and asks `decide` about
// each call of one of the numbers. The run has only the settings in the folder `config`. `before`
// and `after` are called in the child, around the run.
SupervisedResult RunWithFaults(
    const std::vector<std::string>& arguments, const std::string& config,
    const std::vector<int>& numbers, const CallDecision& decide,
    const std::function<void()>& before = [] {}, const std::function<void()>& after = [] {});

// The same without faults.
SupervisedResult RunWithoutFaults(const std::vector<std::string>& arguments,
                                  const std::string& config);

}  // namespace tessary::test
