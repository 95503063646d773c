#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/faults/errors/inventory.h"
#include "tests/faults/errors/scenario.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// The names of the violations that ScenarioFixture finds.
const std::vector<std::string>& ViolationNames();

// A source and a destination for one run of a scenario, with items of every kind.
class ScenarioFixture {
 public:
  explicit ScenarioFixture(const Scenario& scenario);
  ScenarioFixture(const ScenarioFixture&) = delete;
  ScenarioFixture& operator=(const ScenarioFixture&) = delete;

  // Returns whether this machine has the filesystems that the scenario needs.
  static bool IsSupported(const Scenario& scenario);

  // Runs the scenario as RunWithFaults does.
  SupervisedResult Run(
      const std::vector<int>& numbers, const CallDecision& decide,
      const std::function<void()>& before = [] {},
      const std::function<void()>& after = [] {}) const;

  // What is wrong with the files, the log and the exit status after the run. `hasFailedOnce`: a
  // single call has failed. Then a moved item may exist only once and sidecars stay beside their
  // items; after repeated errors, what could not be rolled back may remain.
  std::vector<SoakViolation> FindViolations(const SupervisedResult& result,
                                            bool hasFailedOnce) const;

  // Runs the scenario again, without faults, and returns what the second run has not recovered.
  std::vector<SoakViolation> FindUnrecovered() const;

 private:
  std::string Source() const { return source_ / "Source"; }
  std::string Destination() const { return destination_ / "Destination"; }
  // An item is copied without its comment if the comment cannot be read.
  TreeAspects Aspects() const { return {.creationDates = false, .ownComment = scenario_.isMove}; }
  std::vector<std::string> Arguments() const;
  void Fill() const;
  void AddNewItems() const;
  static size_t RemoveFiled(const FoundItem& item, bool withSidecar,
                            std::vector<FoundItem>* inDestination);
  void CheckExistingItems(bool withSidecars, std::vector<FoundItem>* inDestination,
                          std::vector<SoakViolation>* violations) const;
  void CheckItem(const FoundItem& item, size_t inSource, size_t inDestination, bool hasFailedOnce,
                 std::vector<SoakViolation>* violations) const;
  bool IsReported(const FoundItem& item, const SupervisedResult& result) const;

  const Scenario& scenario_;
  TemporaryFolder config_;
  TemporaryFolder source_;
  TemporaryFolder destination_;
  std::vector<FoundItem> sourceItems_;    // before the run
  std::vector<FoundItem> existingItems_;  // in the destination, before the run
};

}  // namespace tessary::test
