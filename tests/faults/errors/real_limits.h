#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/faults/errors/scenario.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// The fixture of tests that run the program against limits of real filesystems and folders.
class RealLimits : public testing::Test {
 protected:
  // Runs `aggregate` with the options.
  SupervisedResult Run(const std::vector<std::string>& options, const std::string& source,
                       const std::string& destination) const;

  // Runs `aggregate --recurse` with the operation (--copy or --move). Expects that all contents of
  // both folders are complete afterwards where they may be, and that no temporary files remain,
  // unless mayLeaveTempFiles_.
  SupervisedResult Aggregate(const std::string& operation, const std::string& source,
                             const std::string& destination,
                             const std::string& kind = "extension") const;

  const TemporaryFolder config_;
  const TemporaryFolder scratch_;
  bool mayLeaveTempFiles_ = false;
};

}  // namespace tessary::test
