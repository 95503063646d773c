#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tests/engine/engine_fixture.h"

namespace tessary::test {

// Modification dates, in seconds since 1970.
inline constexpr int64_t kMarch2009 = 1236164645;   // 2009-03-04 11:04:05 UTC
inline constexpr int64_t kAugust2011 = 1314186645;  // 2011-08-24 11:50:45 UTC

// The fixture of a whole run, in the time zone UTC.
class RunTest : public EngineFixture {
 protected:
  RunTest();
  ~RunTest() override;

  // Writes the settings before the run.
  void Set(const std::string& text) const { preferences_.Write(text); }

  // Writes a file with a modification date in seconds since 1970.
  void WriteDated(const std::string& path, int64_t seconds) const;

 private:
  std::optional<std::string> savedZone_;
};

}  // namespace tessary::test
