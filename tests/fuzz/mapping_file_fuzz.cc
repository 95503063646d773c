#include <cstdlib>
#include <filesystem>

#include "platform/linux/configuration/builtin_file_types.h"
#include "platform/managers/four_char_code.h"
#include "platform/managers/internet_config.h"
#include "platform/managers/text.h"
#include "tests/fuzz/fuzz.h"

// The user's mapping file: the built-in table stands before it whatever it holds, each line is read
// by itself, and each entry can be written down again.
namespace tessary::test {
namespace {

const std::string& ScratchFilePath() {
  static const std::string gPath = [] {
    std::filesystem::create_directories(ScratchPath("tessary"));
    Require(setenv("XDG_CONFIG_HOME", ScratchPath("").c_str(), 1) == 0, "the folder can be named");
    return ScratchPath("tessary/extensions.map");
  }();
  return gPath;
}

bool AreEqual(const ICMapEntry& first, const ICMapEntry& second) {
  return first.fileType == second.fileType && first.extension == second.extension;
}

// The entries of a file with these contents, without the built-in ones, which have to be there.
ICMapHandle EntriesOf(std::string_view contents) {
  static const ICMapHandle gBuiltin = [] {
    ICMapHandle made;
    for (const BuiltinFileType& type : BuiltinFileTypes()) {
      made.push_back({PaddedFourCharCode(type.type), Utf16FromUtf8(type.extension)});
    }
    return made;
  }();
  WriteScratchFile(ScratchFilePath(), contents);
  ICInstance instance;
  ICMapHandle mapping;
  Require(ICStart(&instance, FourCharCode("fuzz")) == noErr, "the service starts");
  Require(ICBegin(&instance, ICPerm::icReadOnlyPerm) == noErr, "reading begins");
  Require(ICGetPrefHandle(instance, "Mapping", &mapping) == noErr, "there is always a mapping");
  Require(mapping.size() >= gBuiltin.size() &&
              std::equal(gBuiltin.begin(), gBuiltin.end(), mapping.begin(), AreEqual),
          "the built-in table comes first and is whole");
  mapping.erase(mapping.begin(), mapping.begin() + static_cast<ptrdiff_t>(gBuiltin.size()));
  return mapping;
}

std::string LineOf(const ICMapEntry& entry) {
  std::string type;
  for (unsigned shift = 32; shift > 0 && entry.fileType != 0; shift -= 8) {
    type += static_cast<char>(entry.fileType >> (shift - 8) & 0xFFU);
  }
  return Utf8FromUtf16(entry.extension) + " \"" + type + "\"\n";
}

// Every line is an entry, a blank line, a comment, or bad and told of.
void CheckCount(std::string_view contents, size_t entries) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (contents.starts_with(kByteOrderMark)) contents.remove_prefix(kByteOrderMark.size());
  size_t meant = 0;
  while (!contents.empty()) {
    std::string_view line = TakeInputLine(&contents);
    if (line.ends_with('\r')) line.remove_suffix(1);
    const size_t first = line.find_first_not_of(" \t");
    if (first != std::string_view::npos && line[first] != '#') ++meant;
  }
  constexpr size_t kMostDescribed = 20;
  const size_t bad = DescribeBadMappingLines().size();
  if (bad <= kMostDescribed) {
    Require(entries + bad == meant, "a line that is skipped is told of");
  } else {
    Require(entries + kMostDescribed < meant, "lines beyond the described ones are skipped ones");
  }
}

}  // namespace

void TryInput(std::string_view input) {
  const ICMapHandle entries = EntriesOf(input);
  CheckCount(input, entries.size());
  // A line before, as a byte-order mark counts for nothing at the start of a file only.
  std::string respelled = "\n";
  for (const ICMapEntry& entry : entries) respelled += LineOf(entry);
  const ICMapHandle again = EntriesOf(respelled);
  Require(std::equal(entries.begin(), entries.end(), again.begin(), again.end(), AreEqual),
          "what was read can be written and read again");

  std::string longer(input);
  longer += "\n.fuzz \"FUZZ\"";
  const ICMapHandle more = EntriesOf(longer);
  Require(more.size() == entries.size() + 1 &&
              std::equal(entries.begin(), entries.end(), more.begin(), AreEqual) &&
              AreEqual(more.back(), {FourCharCode("FUZZ"), u".fuzz"}),
          "no line hides the next one");
}

}  // namespace tessary::test
