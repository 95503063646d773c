#pragma once

#include <optional>
#include <string>

namespace tessary::test {

// Sets an environment variable while it lives, or unsets it where `value` is none, and then gives
// it back what it was.
class EnvironmentVariable {
 public:
  EnvironmentVariable(std::string name, const std::optional<std::string>& value);
  ~EnvironmentVariable();
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  std::string name_;
  std::optional<std::string> saved_;
};

// Has this process live in a time zone, such as "Europe/Berlin", while it lives.
class TimeZone {
 public:
  explicit TimeZone(const std::string& zone);
  ~TimeZone();
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  std::optional<EnvironmentVariable> variable_;
};

}  // namespace tessary::test
