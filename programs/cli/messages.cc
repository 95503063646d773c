#include "programs/cli/messages.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "platform/managers/log.h"

namespace tessary {
namespace {

// The texts of the errno values behind each status.
constexpr std::array<std::pair<Status, const char*>, 17> kStatusTexts = {{
    {dskFulErr, "No space left on device"},
    {ioErr, "Input/output error"},
    {bdNamErr, "File name too long or invalid"},
    {tmfoErr, "Too many open files"},
    {fnfErr, "No such file or directory"},
    {wPrErr, "Read-only file system"},
    {fBsyErr, "Device or resource busy"},
    {dupFNErr, "File exists"},
    {paramErr, "Invalid argument"},
    {memFullErr, "Cannot allocate memory"},
    {dirNFErr, "Not a directory"},
    {badMovErr, "Cannot move or copy a folder into itself"},
    {diffVolErr, "Invalid cross-device link"},
    {fileBoundsErr, "File too large"},
    {errFSBadFSRef, "Stale file handle"},
    {errFSNotAFolder, "Not a directory"},
    {afpAccessDenied, "Permission denied"},
}};

}  // namespace

void PrintProblem(std::string_view problem, std::string_view program) {
  const std::string line = std::string(program) + ": " + EscapeControlCharacters(problem) + "\n";
  (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

void PrintOutOfMemory() { (void)std::fputs("tessary-cli: out of memory\n", stderr); }

bool WriteOutput(std::string_view text) {
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  // An error that fwrite did not see, because it filled a buffer only, appears here.
  return std::fflush(stdout) == 0 && isWritten;
}

ExitStatus PrintOutput(std::string_view text, std::string_view program) {
  if (WriteOutput(text)) return ExitStatus::kSuccess;
  PrintProblem(kWriteError, program);
  return ExitStatus::kFailure;
}

std::string Quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string Shown(std::string_view text) { return text.empty() ? Quoted(text) : std::string(text); }

std::string DescribeStatus(Status status) {
  const auto* known =
      std::ranges::find(kStatusTexts, status, &std::pair<Status, const char*>::first);
  if (known != kStatusTexts.end()) return known->second;
  return "error " + std::to_string(static_cast<int>(status));
}

}  // namespace tessary
