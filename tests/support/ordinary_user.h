#pragma once

#include <functional>

namespace tessary::test {

// The user and the group that RunAsOrdinaryUser takes if this process is root.
inline constexpr unsigned kOrdinaryId = 65534;

// Runs `body` in a child process without privileges. Returns true if no expectation failed in it.
bool RunAsOrdinaryUser(const std::function<void()>& body);

}  // namespace tessary::test
