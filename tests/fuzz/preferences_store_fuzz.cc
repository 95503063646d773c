#include <cstdlib>
#include <filesystem>

#include "platform/linux/configuration/preferences_text.h"
#include "platform/managers/preferences_store.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/preference_input.h"

// The preferences in their file: what was written reads back, and a file that cannot be read is
// never replaced.
namespace tessary::test {
namespace {

// The preferences file of this process, which no user has.
const std::string& ScratchFilePath() {
  static const std::string gPath = [] {
    std::filesystem::create_directories(ScratchPath("tessary"));
    Require(setenv("XDG_CONFIG_HOME", ScratchPath("").c_str(), 1) == 0, "the folder can be named");
    return ScratchPath("tessary/preferences.toml");
  }();
  return gPath;
}

}  // namespace

void TryInput(std::string_view bytes) {
  const PreferenceInput input = ReadPreferenceInput(bytes);
  const std::string& path = ScratchFilePath();
  WriteScratchFile(path, input.text);
  PreferenceValues said;
  const bool isReadable = !ParsePreferences(input.text, &said);
  Require(CFPreferencesAppSynchronize() == isReadable, "synchronising tells whether it was read");
  Require(DescribePreferencesProblem().has_value() != isReadable, "what is wrong is described");

  const auto before = CFPreferencesCopyAppValue(input.key);
  const auto found = said.find(input.key);
  Require(before.has_value() == (found != said.end()), "the accessors find what the text says");
  Require(!before || *before == found->second, "the accessors answer what the text says");

  CFPreferencesSetAppValue(input.key, input.value);
  const bool isWritten = CFPreferencesAppSynchronize();
  const std::string after = ReadScratchFile(path);
  Require(isWritten || after == input.text, "a write that fails leaves the file as it was");
  Require(isReadable || after == input.text, "a file that cannot be read is not replaced");
  if (!isReadable) return;
  Require(CFPreferencesCopyAppValue(input.key) == (isWritten ? input.value : before),
          "the accessors answer what is in the file");
  std::string expected = input.text;
  const bool canBeSet = !ChangePreferences(input.text, {{input.key, input.value}}, &expected);
  Require(isWritten == canBeSet && after == expected, "the file holds the changed text");
}

}  // namespace tessary::test
