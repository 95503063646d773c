#include <cstdlib>
#include <filesystem>

#include "platform/linux/configuration/builtin_file_types.h"
#include "platform/managers/four_char_code.h"
#include "platform/managers/internet_config.h"
#include "platform/managers/text.h"
#include "tests/fuzz/fuzz.h"

// The user's extension map: the built-in table always precedes it, no line affects another line,
// and entries survive a round trip.
namespace tessary::test {
namespace {

const std::string& ScratchFilePath() {
  static const std::string gPath = [] {
    std::filesystem::create_directories(ScratchPath("tessary"));
    Require(setenv("XDG_CONFIG_HOME", ScratchPath("").c_str(), 1) == 0, "setenv succeeds");
    return ScratchPath("tessary/extensions.map");
  }();
  return gPath;
}

bool AreEqual(const ICMapEntry& first, const ICMapEntry& second) {
  return first.fileType == second.fileType && first.extension == second.extension;
}

// Reads the entries of a map file with these contents. Requires the built-in entries and omits
// them.
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
          "the built-in table comes first and is complete");
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

// Checks that every line is an entry, empty, a comment, or malformed and described.
void CheckCount(std::string_view contents, size_t entries) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (contents.starts_with(kByteOrderMark)) contents.remove_prefix(kByteOrderMark.size());
  size_t candidates = 0;
  while (!contents.empty()) {
    std::string_view line = TakeInputLine(&contents);
    if (line.ends_with('\r')) line.remove_suffix(1);
    const size_t first = line.find_first_not_of(" \t");
    if (first != std::string_view::npos && line[first] != '#') ++candidates;
  }
  constexpr size_t kMaxDescribed = 20;
  const size_t malformed = DescribeBadMappingLines().size();
  if (malformed <= kMaxDescribed) {
    Require(entries + malformed == candidates, "a skipped line is described");
  } else {
    Require(entries + kMaxDescribed < candidates, "only skipped lines are described");
  }
}

}  // namespace

void TryInput(std::string_view input) {
  const ICMapHandle entries = EntriesOf(input);
  CheckCount(input, entries.size());
  // Starts with an empty line: an extension may begin with a byte-order mark, which is ignored at
  // the start of the file.
  std::string rewritten = "\n";
  for (const ICMapEntry& entry : entries) rewritten += LineOf(entry);
  const ICMapHandle again = EntriesOf(rewritten);
  Require(std::equal(entries.begin(), entries.end(), again.begin(), again.end(), AreEqual),
          "entries survive a round trip");

  std::string longer(input);
  longer += "\n.fuzz \"FUZZ\"";
  const ICMapHandle more = EntriesOf(longer);
  Require(more.size() == entries.size() + 1 &&
              std::equal(entries.begin(), entries.end(), more.begin(), AreEqual) &&
              AreEqual(more.back(), {FourCharCode("FUZZ"), u".fuzz"}),
          "no line affects the next line");
}

}  // namespace tessary::test
