#include "programs/cli/messages.h"

#include <cstdio>

#include "platform/managers/log.h"

namespace tessary {

void PrintProblem(std::string_view problem, std::string_view program) {
  const std::string line = std::string(program) + ": " + EscapeControlCharacters(problem) + "\n";
  (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

void PrintOutOfMemory() { (void)std::fputs("tessary-cli: there is not enough memory\n", stderr); }

bool WriteOutput(std::string_view text) {
  const bool wasWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  // What the buffer took is told to be lost, if at all, when it is flushed.
  return std::fflush(stdout) == 0 && wasWritten;
}

ExitStatus PrintOutput(std::string_view text, std::string_view program) {
  if (WriteOutput(text)) return ExitStatus::kSuccess;
  PrintProblem("the output could not be written to standard output", program);
  return ExitStatus::kFailure;
}

std::string Quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string DescribeStatus(Status status) {
  switch (status) {
    case fnfErr:
      return "there is no such file or folder";
    case dirNFErr:
      return "a part of the path is no folder";
    case errFSNotAFolder:
      return "it is no folder";
    case afpAccessDenied:
      return "permission denied";
    case bdNamErr:
      return "the name is too long or not possible there";
    case dupFNErr:
      return "something that leads to no folder has that name";
    case paramErr:
      return "the path is empty or not possible there";
    case ioErr:
      return "it cannot be read, or its links lead in a circle";
    case dskFulErr:
      return "there is no room left on the volume";
    case wPrErr:
      return "the volume is read-only";
    case tmfoErr:
      return "too many files are open";
    case memFullErr:
      return "there is not enough memory";
    default:
      return "error " + std::to_string(static_cast<int>(status));
  }
}

}  // namespace tessary
