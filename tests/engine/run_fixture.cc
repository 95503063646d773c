#include "tests/engine/run_fixture.h"

#include <cstdlib>
#include <ctime>

namespace tessary::test {

RunTest::RunTest() {
  if (const char* zone = std::getenv("TZ")) savedZone_ = zone;
  setenv("TZ", "UTC0", 1);
  tzset();
}

RunTest::~RunTest() {
  if (savedZone_) {
    setenv("TZ", savedZone_->c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

void RunTest::WriteDated(const std::string& path, int64_t seconds) const {
  WriteFile(path, path);
  SetModificationDate(path, seconds);
}

}  // namespace tessary::test
