#include "engine/keys.h"

#include <array>

#include "engine/items.h"
#include "platform/extension_map.h"
#include "platform/managers/text.h"
#include "platform/managers/uniform_types.h"
#include "platform/strings.h"

namespace tessary {
namespace {

constexpr std::string_view kYearFormat = "%Y";
constexpr std::string_view kDayFormat = "%b %d, %Y";

// Returns the four bytes of a type in text order, up to the first zero byte. None if they are not
// valid UTF-8.
std::optional<std::u16string> TextOfFileType(uint32_t fileType) {
  const std::array<char, 5> bytes = {
      static_cast<char>(fileType >> 24 & 0xff), static_cast<char>(fileType >> 16 & 0xff),
      static_cast<char>(fileType >> 8 & 0xff), static_cast<char>(fileType & 0xff), '\0'};
  const std::string_view text = bytes.data();
  if (!IsUtf8(text)) return std::nullopt;
  return Utf16FromUtf8(text);
}

void SetStatus(Status* status, Status value) {
  if (status != nullptr) *status = value;
}

std::optional<std::u16string> CopyMappedType(const FSRef& item, Status* status) {
  const std::optional<CFURL> url = CFURLCreateFromFSRef(item);
  if (!url) {
    SetStatus(status, WhyUnreadable(item));
    return std::nullopt;
  }
  const std::optional<std::u16string> extension = CFURLCopyPathExtension(*url);
  if (!extension) return std::nullopt;
  return LookUpExtensionType(CFStringLowercase(*extension));
}

std::optional<std::u16string> CopyDateKey(const FSRef& item, DateAttribute attribute,
                                          std::string_view format, Status* status) {
  const std::optional<std::string> path = StringWithFSRef(&item);
  if (!path) {
    SetStatus(status, WhyUnreadable(item));
    return std::nullopt;
  }
  Status read = noErr;
  const std::optional<Timestamp> instant = CopyFileDateAtPath(*path, attribute, &read);
  if (read != noErr) SetStatus(status, read);
  if (!instant) return std::nullopt;
  const std::optional<std::string> text = DescribeDate(CalendarDateFromTimestamp(*instant), format);
  if (!text) return std::nullopt;
  return Utf16FromUtf8(*text);
}

}  // namespace

std::optional<DateLocale> gDateLocale;

std::optional<std::u16string> CopyFileTypeKey(const FSRef& item, Status* status) {
  FSCatalogInfo info;
  const Status read =
      FSGetCatalogInfo(item, kFSCatInfoFinderInfo, &info, nullptr, nullptr, nullptr);
  if (read == noErr && info.finderInfo.fileType != 0) {
    if (std::optional<std::u16string> key = TextOfFileType(info.finderInfo.fileType)) return key;
  }
  return CopyMappedType(item, status);
}

std::optional<std::u16string> CopyMimeTypeKey(const std::optional<CFURL>& url) {
  if (!url) return std::nullopt;
  const std::optional<std::u16string> extension = CFURLCopyPathExtension(*url);
  if (!extension) return std::nullopt;
  const std::optional<std::u16string> identifier =
      UTTypeCreatePreferredIdentifierForTag(UTTagClass::kUTTagClassFilenameExtension, *extension);
  if (identifier) {
    std::optional<std::u16string> type =
        UTTypeCopyPreferredTagWithClass(*identifier, UTTagClass::kUTTagClassMIMEType);
    if (type) return type;
  }
  return u"application/" + *extension;
}

std::optional<std::u16string> CopyYearKey(const FSRef& item, DateAttribute attribute,
                                          Status* status) {
  return CopyDateKey(item, attribute, kYearFormat, status);
}

std::optional<std::u16string> CopyDayKey(const FSRef& item, DateAttribute attribute,
                                         Status* status) {
  return CopyDateKey(item, attribute, kDayFormat, status);
}

std::optional<std::string> DescribeDate(const std::optional<NSCalendarDate>& date,
                                        std::optional<std::string_view> format) {
  if (!date || !format) return std::nullopt;
  return DescriptionWithCalendarFormat(*date, *format, gDateLocale ? &*gDateLocale : nullptr);
}

}  // namespace tessary
