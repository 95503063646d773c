#include <algorithm>

#include "platform/linux/mac_formats/finder_info_forms.h"
#include "tests/fuzz/fuzz.h"

// The foreign forms of Finder information: the result is 32 bytes of the value, not all zero.
namespace tessary::test {
namespace {

std::string TextOf(const FinderBytes& bytes) { return {bytes.begin(), bytes.end()}; }

bool IsKnown(const FinderBytes& bytes) {
  return std::ranges::any_of(bytes, [](unsigned char byte) { return byte != 0; });
}

}  // namespace

void TryInput(std::string_view input) {
  for (const FinderInfoForm& form : kFinderInfoForms) {
    const auto bytes = form.read(input);
    if (!bytes) continue;
    Require(IsKnown(*bytes), "all-zero information is reported as none");
    Require(input.find(TextOf(*bytes)) != std::string_view::npos,
            "the information is part of the value");
  }
  const std::string_view type = input.substr(0, input.size() / 2);
  const std::string_view creator = input.substr(type.size());
  const auto bytes = ReadHfsTypeAndCreator(type, creator);
  if (!bytes) return;
  Require(type.size() == 4 && IsKnown(*bytes), "a type is four bytes, not all zero");
  Require(TextOf(*bytes) == std::string(input) + std::string(24, '\0'),
          "the information has only the type and the creator");
}

}  // namespace tessary::test
