#include "tests/fuzz/fuzz.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tessary::test {
namespace {

std::string MakeScratchFolder() {
  std::string pattern = std::filesystem::temp_directory_path().string() + "/tessary-fuzz-XXXXXX";
  Require(mkdtemp(pattern.data()) != nullptr, "the scratch directory can be created");
  return pattern;
}

}  // namespace

void Require(bool holds, const char* invariant) {
  if (holds) return;
  (void)std::fprintf(stderr, "Violated invariant: %s.\n", invariant);
  std::abort();
}

std::string_view TakeInputLine(std::string_view* input) {
  const std::string_view line = input->substr(0, input->find('\n'));
  input->remove_prefix(std::min(line.size() + 1, input->size()));
  return line;
}

uint8_t TakeInputByte(std::string_view* input) {
  if (input->empty()) return 0;
  const auto byte = static_cast<uint8_t>(input->front());
  input->remove_prefix(1);
  return byte;
}

std::string ScratchPath(const std::string& name) {
  static const std::string gFolder = MakeScratchFolder();
  return gFolder + "/" + name;
}

void WriteScratchFile(const std::string& path, std::string_view contents) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << contents;
  file.close();
  Require(file.good(), "a scratch file can be written");
}

std::string ReadScratchFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  Require(file.good(), "a scratch file can be read");
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace tessary::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  tessary::test::TryInput({reinterpret_cast<const char*>(data), size});
  return 0;
}
