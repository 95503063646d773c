#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// What the fuzz programs share. Each tries one part of the product on inputs that libFuzzer makes
// from those in its folder under corpus/, and looks whether what must hold of every input holds.
namespace tessary::test {

// Tries one input. Each program has its own.
void TryInput(std::string_view input);

// Ends the program, so that the fuzzer keeps the input, unless it `holds` what is said.
void Require(bool holds, const char* what);

// Takes the first line off the front of the input, without its end; all of it where it is the last.
std::string_view TakeInputLine(std::string_view* input);

// Takes the first byte off the front of the input; 0 where nothing is left.
uint8_t TakeInputByte(std::string_view* input);

// The path of `name` in a folder of this process's own in $TMPDIR, which is there until somebody
// removes it.
std::string ScratchPath(const std::string& name);

// Puts a file into the place of the one at the path.
void WriteScratchFile(const std::string& path, std::string_view contents);

// The contents of the file at the path, which has to be there.
std::string ReadScratchFile(const std::string& path);

}  // namespace tessary::test
