#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

// The commands on the stored settings. Each answers kSuccess, or kFailure with one line on standard
// error: where the preferences file cannot be read or written, which leaves it as it was.
namespace tessary {

// Prints one key's value; kFailure also where it is not set. Or prints all, in the order of
// kSettings: "KEY = VALUE", the value as it is stored, or "KEY not set (what then holds)".
ExitStatus ReadDefaults(const ReadDefaultsOptions& options);

// Stores a value.
ExitStatus WriteDefault(const WriteDefaultOptions& options);

// Removes a value. One that is not set is no failure, and then the file is not touched.
ExitStatus DeleteDefault(const DeleteDefaultOptions& options);

}  // namespace tessary
