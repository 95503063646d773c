#include "platform/linux/mac_formats/finder_info_forms.h"

#include <algorithm>
#include <string>

#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/mac_formats/bytes.h"

namespace tessary {
namespace {

constexpr size_t kCodeSize = 4;
constexpr std::string_view kAfpSignature("AFP\0", 4);
constexpr size_t kFinderInfoInAfpInfo = 16;

}  // namespace

std::optional<FinderBytes> ReadRawFinderInfo(std::string_view value) {
  FinderBytes bytes = {};
  if (value.size() != bytes.size()) return std::nullopt;
  // Empty information cannot be distinguished from none, so the next form in the order of
  // precedence is asked.
  if (std::ranges::all_of(value, [](char byte) { return byte == '\0'; })) return std::nullopt;
  std::ranges::copy(value, bytes.begin());
  return bytes;
}

std::optional<FinderBytes> ReadAppleDoubleFinderInfo(std::string_view value) {
  return ReadAppleDoubleFinderInfo(value, value.size());
}

std::optional<FinderBytes> ReadAppleDoubleFinderInfo(std::string_view data, uint64_t wholeSize) {
  const std::optional<AppleDouble> parsed = AppleDouble::Parse(data, wholeSize);
  const std::optional<std::string_view> info = parsed ? parsed->FinderInfo() : std::nullopt;
  return info ? ReadRawFinderInfo(*info) : std::nullopt;
}

std::optional<FinderBytes> ReadAfpInfo(std::string_view value) {
  if (!value.starts_with(kAfpSignature)) return std::nullopt;
  const auto info = PartOf(value, kFinderInfoInAfpInfo, FinderBytes().size());
  return info ? ReadRawFinderInfo(*info) : std::nullopt;
}

std::optional<FinderBytes> ReadHfsTypeAndCreator(std::string_view type, std::string_view creator) {
  if (type.size() != kCodeSize || creator.size() != kCodeSize) return std::nullopt;
  std::string bytes(type);
  bytes += creator;
  bytes.resize(FinderBytes().size(), '\0');
  return ReadRawFinderInfo(bytes);
}

std::optional<PortableAttribute> MakePortable(std::string_view name, std::string_view value,
                                              std::string_view hfsCreator) {
  constexpr std::string_view kHfsPlusPrefix = "osx.";
  if (name.starts_with(kHfsPlusPrefix)) {
    return PortableAttribute{"user." + std::string(name.substr(kHfsPlusPrefix.size())),
                             std::string(value)};
  }
  if (name != kHfsTypeAttribute) return std::nullopt;
  const std::optional<FinderBytes> info = ReadHfsTypeAndCreator(value, hfsCreator);
  if (!info) return std::nullopt;
  return PortableAttribute{"user.com.apple.FinderInfo", std::string(info->begin(), info->end())};
}

}  // namespace tessary
