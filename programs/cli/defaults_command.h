#pragma once

#include "programs/cli/exit_status.h"
#include "programs/cli/options.h"

// The commands on the stored settings. Each returns kSuccess, or kFailure with one line on standard
// error if the preferences file cannot be read or written; the file is then unchanged.
namespace tessary {

// Prints the value of one key; kFailure also if it is not set. Without a key, prints all in the
// order of kSettings: "KEY = VALUE" or "KEY not set (WHAT APPLIES)". An invalid value
// is followed by "(invalid: expected WHAT)".
ExitStatus ReadDefaults(const ReadDefaultsOptions& options);

// Stores a value.
ExitStatus WriteDefault(const WriteDefaultOptions& options);

// Removes a value. Succeeds if it is not set, without writing the file.
ExitStatus DeleteDefault(const DeleteDefaultOptions& options);

}  // namespace tessary
