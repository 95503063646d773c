#include <cstdlib>
#include <filesystem>

#include "platform/linux/configuration/preferences_text.h"
#include "platform/managers/preferences_store.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/preference_input.h"

// The preferences file: a written value can be read, and a file that cannot be parsed is never
// replaced.
namespace tessary::test {
namespace {

const std::string& ScratchFilePath() {
  static const std::string gPath = [] {
    std::filesystem::create_directories(ScratchPath("tessary"));
    Require(setenv("XDG_CONFIG_HOME", ScratchPath("").c_str(), 1) == 0, "setenv succeeds");
    return ScratchPath("tessary/preferences.toml");
  }();
  return gPath;
}

}  // namespace

void TryInput(std::string_view bytes) {
  const PreferenceInput input = ReadPreferenceInput(bytes);
  const std::string& path = ScratchFilePath();
  WriteScratchFile(path, input.text);
  PreferenceValues parsed;
  const bool isReadable = !ParsePreferences(input.text, &parsed);
  Require(CFPreferencesAppSynchronize() == isReadable, "synchronising fails on a parse error");
  Require(DescribePreferencesProblem().has_value() != isReadable, "a parse error is described");

  const auto before = CFPreferencesCopyAppValue(input.key);
  const auto found = parsed.find(input.key);
  Require(before.has_value() == (found != parsed.end()), "the accessors find the keys of the text");
  Require(!before || *before == found->second, "the accessors return the values of the text");

  CFPreferencesSetAppValue(input.key, input.value);
  const bool isWritten = CFPreferencesAppSynchronize();
  const std::string after = ReadScratchFile(path);
  Require(isWritten || after == input.text, "a failed write leaves the file unchanged");
  Require(isReadable || after == input.text, "a file that cannot be parsed is not replaced");
  if (!isReadable) return;
  Require(CFPreferencesCopyAppValue(input.key) == (isWritten ? input.value : before),
          "the accessors return the value in the file");
  std::string expected = input.text;
  const bool canBeSet = !ChangePreferences(input.text, {{input.key, input.value}}, &expected);
  Require(isWritten == canBeSet && after == expected, "the file contains the changed text");
}

}  // namespace tessary::test
