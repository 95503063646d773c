#pragma once

#include <string>
#include <string_view>

#include "platform/managers/status.h"
#include "programs/cli/exit_status.h"

// What the program says to its user, outside the log.
namespace tessary {

inline constexpr std::string_view kCommandLineProgram = "tessary-cli";

// Prints one line on standard error, "PROGRAM: PROBLEM", with control characters escaped. A failure
// to write is not reported: there is nowhere to report it.
void PrintProblem(std::string_view problem, std::string_view program = kCommandLineProgram);

// Says so on standard error, for which it takes none.
void PrintOutOfMemory();

// Writes the text to standard output, whole. False where it could not be written.
bool WriteOutput(std::string_view text);

// The same for a command whose output is all that it does: kSuccess, or kFailure with a line on
// standard error.
ExitStatus PrintOutput(std::string_view text, std::string_view program = kCommandLineProgram);

// The text between double quotes.
std::string Quoted(std::string_view text);

// The status in a few words, without a full stop: "permission denied".
std::string DescribeStatus(Status status);

}  // namespace tessary
