#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/faults/errors/inventory.h"
#include "tests/support/fault_injection/supervised_calls.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// A kind of run to do violations to.
struct Scenario {
  std::string name;
  std::vector<std::string> options;  // of the command aggregate, besides --recurse
  bool isMove = false;
  bool isAcross = false;  // the destination lies on another volume
  bool isByDate = false;
  std::string replaced =
      {};  // what bears an item's name in the destination and is to make way; or none
  bool hasComments = false;
  bool hasSidecars = false;
};

// The kinds of runs that are tried.
const std::vector<Scenario>& Scenarios();

// Something that a run must never do, by one of the words of ViolationKinds.
struct Violation {
  std::string kind;
  std::string details;
};

const std::vector<std::string>& ViolationKinds();

// Runs the program in a child process with these arguments, which asks about the calls of those
// numbers, and with a configuration of its own in the folder `config`.
// `before` and `after` are called there around the run.
SupervisedResult RunWithFaults(
    const std::vector<std::string>& arguments, const std::string& config,
    const std::vector<int>& numbers, const CallDecision& decide,
    const std::function<void()>& before = [] {}, const std::function<void()>& after = [] {});

// The same with nothing refused.
SupervisedResult RunWithoutFaults(const std::vector<std::string>& arguments,
                                  const std::string& config);

// A source and a destination with something of every kind in them, made anew for one run.
class ScenarioFixture {
 public:
  explicit ScenarioFixture(const Scenario& scenario);
  ScenarioFixture(const ScenarioFixture&) = delete;
  ScenarioFixture& operator=(const ScenarioFixture&) = delete;

  // True where the scenario can be played here: two volumes, for one that needs them.
  static bool IsSupported(const Scenario& scenario);

  // Runs the program on it in a child process, asking about the calls of those numbers.
  SupervisedResult Run(const std::vector<int>& numbers, const CallDecision& decide) const;

  // Runs it with nothing refused by the system, and calls the two in the child around the run.
  SupervisedResult RunWithHooks(const std::function<void()>& before,
                                const std::function<void()>& after) const;

  // How the disk now differs from what the promise allows; nothing where all is well.
  // `hasFailedOnce` when a single call was refused, so that everything else worked and a moved item
  // may be in one place only.
  std::vector<Violation> FindViolations(const SupervisedResult& result, bool hasFailedOnce) const;

  // Runs the program again with nothing refused, and tells what is then still not as it should be.
  std::vector<Violation> FindLastingViolations() const;

  std::string Source() const { return *source_ / "Source"; }
  std::string Destination() const { return *destination_ / "Destination"; }

 private:
  // A comment that could not be read is no copied item's fault; what becomes of comments where
  // nothing fails is tested elsewhere.
  InventoryRules Rules() const { return {.ignoresComments = !scenario_.isMove}; }
  std::vector<std::string> Arguments() const;
  void Fill() const;
  void AddNewItems() const;
  static size_t RemoveFiled(const FoundItem& item, bool withSidecar,
                            std::vector<FoundItem>* inDestination);
  void FindDestinationViolations(bool withSidecars, std::vector<FoundItem>* inDestination,
                                 std::vector<Violation>* violations) const;
  void CheckItem(const FoundItem& item, size_t sourceCount, size_t away, bool hasFailedOnce,
                 std::vector<Violation>* violations) const;
  bool IsReported(const FoundItem& item, const SupervisedResult& result) const;

  const Scenario& scenario_;
  std::unique_ptr<TemporaryFolder> config_;
  std::unique_ptr<TemporaryFolder> source_;
  std::unique_ptr<TemporaryFolder> destination_;
  std::vector<FoundItem> before_;         // in the source
  std::vector<FoundItem> existingItems_;  // in the destination
};

}  // namespace tessary::test
