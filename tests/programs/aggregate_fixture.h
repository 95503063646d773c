#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/programs/program.h"

namespace tessary::test {

inline constexpr int64_t kMarch2009 = 1236168000;  // 2009-03-04 12:00 UTC

// Runs of the command "aggregate", with empty folders "source" and "destination".
class AggregateTest : public ProgramTest {
 protected:
  AggregateTest();

  // Creates files with unusual names and types, all modified on one day of 2009.
  void FillSource() const;
};

}  // namespace tessary::test
