#pragma once

#include <functional>

namespace tessary::test {

// Runs `body` in a child process without privileges: as user and group 65534 if this process is
// root. Returns true if no expectation failed in it.
bool RunAsOrdinaryUser(const std::function<void()>& body);

}  // namespace tessary::test
