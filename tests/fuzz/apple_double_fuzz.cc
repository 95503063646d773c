#include <cstdint>

#include "platform/linux/mac_formats/apple_double.h"
#include "tests/fuzz/fuzz.h"

// AppleDouble data of any bytes: every entry and attribute lies inside the data.
namespace tessary::test {
namespace {

bool LiesInside(std::string_view part, std::string_view data) {
  const auto begin = reinterpret_cast<uintptr_t>(part.data());
  const auto first = reinterpret_cast<uintptr_t>(data.data());
  return begin >= first && part.size() <= data.size() && begin - first <= data.size() - part.size();
}

void CheckAttributes(const AppleDouble& sidecar, std::string_view input) {
  for (const AppleDoubleAttribute& attribute : sidecar.Attributes()) {
    Require(!attribute.name.empty() && attribute.name.find('\0') == std::string_view::npos,
            "an attribute has a name");
    Require(LiesInside(attribute.name, input) && LiesInside(attribute.value, input),
            "an attribute lies inside");
    Require(attribute.entryOffset + 8 <= input.size(), "an attribute's entry lies inside");
  }
}

}  // namespace

void TryInput(std::string_view input) {
  const auto sidecar = AppleDouble::Parse(input);
  if (!sidecar) return;
  for (const uint32_t id : {0U, 1U, 2U, 4U, 8U, 9U, 0xFFFFFFFFU}) {
    const auto range = sidecar->Find(static_cast<AppleDoubleEntry>(id));
    const auto part = sidecar->Read(static_cast<AppleDoubleEntry>(id));
    Require(range.has_value() == part.has_value(), "an entry that is found can be read");
    if (!part) continue;
    Require(LiesInside(*part, input), "an entry lies inside");
    Require(*part == input.substr(range->offset, range->length),
            "an entry has the bytes of its range");
  }
  const auto finderInfo = sidecar->FinderInfo();
  Require(!finderInfo || (finderInfo->size() == 32 && LiesInside(*finderInfo, input)),
          "Finder information is 32 bytes inside the data");
  const auto seconds = sidecar->CreationSeconds();
  Require(!seconds || (*seconds >= 946'684'800 - (int64_t{1} << 31) &&
                       *seconds < 946'684'800 + (int64_t{1} << 31)),
          "a date is in the range of the format");
  CheckAttributes(*sidecar, input);
}

}  // namespace tessary::test
