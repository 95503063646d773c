#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Shared by the fuzz programs. Each program feeds one unit with inputs that libFuzzer derives from
// the program's folder under corpus/, and checks invariants that hold for every input.
namespace tessary::test {

// Checks the invariants for one input. Each program defines it.
void TryInput(std::string_view input);

// Aborts with a message if the invariant does not hold, so that libFuzzer keeps the input.
void Require(bool holds, const char* invariant);

// Removes the first line from the input and returns it without its line end.
std::string_view TakeInputLine(std::string_view* input);

// Removes the first byte from the input and returns it, or 0 if the input is empty.
uint8_t TakeInputByte(std::string_view* input);

// The path of `name` in a scratch directory of this process in $TMPDIR. The directory is not
// removed.
std::string ScratchPath(const std::string& name);

// Creates or replaces a file.
void WriteScratchFile(const std::string& path, std::string_view contents);

// Reads a file, which must exist.
std::string ReadScratchFile(const std::string& path);

}  // namespace tessary::test
