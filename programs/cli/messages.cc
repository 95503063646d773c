#include "programs/cli/messages.h"

#include <algorithm>
#include <array>
#include <charconv>
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
  PrintOnStandardError(line);
}

void PrintOutOfMemory() { (void)std::fputs("tessary-cli: out of memory\n", stderr); }

bool WriteOutput(std::string_view text) {
  BufferOutput(text);
  // An error that fwrite did not see, because it filled a buffer only, appears here.
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

void BufferOutput(std::string_view text) {
  if (std::ferror(stdout) == 0) (void)std::fwrite(text.data(), 1, text.size(), stdout);
}

void PrintOnStandardError(std::string_view lines) {
  (void)std::fwrite(lines.data(), 1, lines.size(), stderr);
}

std::string DecimalText(double number) {
  std::array<char, 400> digits = {};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                          std::chars_format::fixed, 1);
  return {digits.data(), end};
}

std::string SizeText(uint64_t bytes) {
  if (bytes < 1000) return std::to_string(bytes) + " B";
  constexpr std::string_view kPrefixes = "kMGTPE";
  double number = static_cast<double>(bytes) / 1000;
  size_t prefix = 0;
  // From here on it would be printed as 1000.0.
  for (; number >= 999.95; number /= 1000) ++prefix;
  return DecimalText(number) + " " + kPrefixes[prefix] + "B";
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
