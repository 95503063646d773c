#pragma once

#include <string>
#include <vector>

namespace tessary::test {

// "renameat2" for SYS_renameat2. A number without a name here is returned as text.
std::string NameOfCall(int number);

// "ENOSPC" for the errno value ENOSPC.
std::string NameOfError(int error);

// The numbers of all calls with a name here: those that read or change files.
std::vector<int> FileCalls();

}  // namespace tessary::test
