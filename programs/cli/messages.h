#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/managers/status.h"
#include "programs/cli/exit_status.h"

// What a program prints for its user, apart from the log. A problem has the form "OBJECT: PROBLEM",
// without a full stop.
namespace tessary {

inline constexpr std::string_view kCommandLineProgram = "tessary-cli";
inline constexpr std::string_view kWriteError = "standard output: write error";

// Prints one line on standard error, "PROGRAM: PROBLEM", with control characters escaped. A failure
// to write is not reported: there is nowhere to report it.
void PrintProblem(std::string_view problem, std::string_view program = kCommandLineProgram);

// Reports that memory is exhausted, without allocating any.
void PrintOutOfMemory();

// Writes the text to standard output. Returns false if not all output so far could be written.
bool WriteOutput(std::string_view text);

// Writes the output of a command. Returns kSuccess, or kFailure with a line on standard error.
ExitStatus PrintOutput(std::string_view text, std::string_view program = kCommandLineProgram);

// Writes text to standard output, of which WriteOutput later reports the failure. Writes nothing
// after a failure, so that the output ends there.
void BufferOutput(std::string_view text);

// Writes lines to standard error as they are. A failure is not reported.
void PrintOnStandardError(std::string_view lines);

// The number with one decimal, after a point in any locale.
std::string DecimalText(double number);

// A size for people, in decimal units: "999 B", "4.2 GB".
std::string SizeText(uint64_t bytes);

// The text between double quotes.
std::string Quoted(std::string_view text);

// A word or path as the user typed it; quoted if it is empty.
std::string Shown(std::string_view text);

// What the status means, in the words of strerror(3): "Permission denied". A status that has no
// counterpart is printed as a number.
std::string DescribeStatus(Status status);

}  // namespace tessary
