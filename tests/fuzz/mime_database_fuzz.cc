#include <array>
#include <cstdlib>
#include <filesystem>

#include "platform/managers/text.h"
#include "platform/managers/uniform_types.h"
#include "tests/fuzz/fuzz.h"

// The MIME database's list of patterns: a valid line is found whatever the other lines contain, and
// the greatest weight wins.
namespace tessary::test {
namespace {

// Replaces the database. It is read again only if the environment names another folder, so that two
// folders are used in turn.
void UseDatabase(std::string_view contents) {
  static const std::array<std::string, 2> gHomes = {ScratchPath("one"), ScratchPath("other")};
  static size_t gTurn = 0;
  static const bool gIsReady = [] {
    for (const std::string& home : gHomes) std::filesystem::create_directories(home + "/mime");
    return setenv("XDG_DATA_DIRS", ScratchPath("none").c_str(), 1) == 0;
  }();
  Require(gIsReady, "the folders can be created");
  const std::string& home = gHomes[gTurn++ % gHomes.size()];
  WriteScratchFile(home + "/mime/globs2", contents);
  Require(setenv("XDG_DATA_HOME", home.c_str(), 1) == 0, "setenv succeeds");
}

std::optional<std::u16string> TypeOf(std::u16string_view extension) {
  const auto identifier =
      UTTypeCreatePreferredIdentifierForTag(UTTagClass::kUTTagClassFilenameExtension, extension);
  Require(identifier.has_value(), "every extension has an identifier");
  return UTTypeCopyPreferredTagWithClass(*identifier, UTTagClass::kUTTagClassMIMEType);
}

// The type becomes the name of a folder, so that it must be well-formed.
void CheckType(const std::optional<std::u16string>& type) {
  if (!type) return;
  const size_t slash = type->find(u'/');
  Require(slash != std::u16string::npos && slash > 0 && slash + 1 < type->size(),
          "a type has two parts");
  for (const char16_t unit : *type) Require(unit > 0x20 && unit < 0x7F, "a type can be printed");
}

}  // namespace

// The first line is an extension to look up, the rest the database.
void TryInput(std::string_view input) {
  const std::u16string extension = Utf16FromUtf8(TakeInputLine(&input));
  UseDatabase(input);
  const auto type = TypeOf(extension);
  CheckType(type);
  Require(TypeOf(extension) == type, "two lookups give the same result");
  Require(!type || input.find(":" + Utf8FromUtf16(*type) + ":") != std::string_view::npos,
          "a type comes from the database");

  if (CFStringLowercase(Utf16FromUtf8(input)).find(u"fuzz-asked") != std::u16string::npos) return;
  UseDatabase(std::string(input) + "\n2147483647:text/x-fuzz:*.Fuzz-Asked\n");
  Require(TypeOf(u"fuzz-asked") == u"text/x-fuzz" && TypeOf(u"FUZZ-asked") == u"text/x-fuzz",
          "no other line hides a valid line");
}

}  // namespace tessary::test
