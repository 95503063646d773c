#include "tests/support/environment_variable.h"

#include <cstdlib>
#include <ctime>
#include <utility>

namespace tessary::test {
namespace {

void Set(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

}  // namespace

EnvironmentVariable::EnvironmentVariable(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)) {
  if (const char* before = std::getenv(name_.c_str())) saved_ = before;
  Set(name_, value);
}

EnvironmentVariable::~EnvironmentVariable() { Set(name_, saved_); }

TimeZone::TimeZone(const std::string& zone) {
  variable_.emplace("TZ", zone);
  tzset();
}

TimeZone::~TimeZone() {
  variable_.reset();
  tzset();
}

}  // namespace tessary::test
