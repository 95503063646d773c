#pragma once

#include <optional>
#include <string>

namespace tessary::test {

// Sets an environment variable, or unsets it if `value` is none, until it is destroyed. Then
// restores it.
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

// Sets the time zone of this process, such as "Europe/Berlin", until it is destroyed.
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
