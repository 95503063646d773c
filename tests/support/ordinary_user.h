#pragma once

#include <functional>

namespace tessary::test {

// Runs `body` in a child process that has no more rights than an ordinary user, the superuser's
// being given up there for those of user and group 65534. True when nothing failed in it. What the
// child writes to standard error goes where this process's does.
bool RunAsOrdinaryUser(const std::function<void()>& body);

}  // namespace tessary::test
