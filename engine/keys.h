#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/calendar.h"
#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/urls.h"

// Keys: the names of the folders that items are filed into. A key is used to the letter; an item
// without one stays where it is. No rule reports anything. `*isUnknown`, where it is given, is set
// to true when there is no key because the item could not be asked, and otherwise left alone.
namespace tessary {

// The locale of the day key's month names, or none for the English ones. Start-up is its only
// writer; later changes of the user's settings do not reach it.
extern std::optional<DateLocale> gDateLocale;

// The file's own four-character type, a trailing blank included; where it has none, the type that
// the extension map holds for its extension in lower case; else none.
std::optional<std::u16string> CopyFileTypeKey(const FSRef& item, bool* isUnknown = nullptr);

// The MIME type of the URL's extension, "application/" and the extension where that is unknown;
// none without a URL or an extension. Holds a "/" but names one folder.
std::optional<std::u16string> CopyMimeTypeKey(const std::optional<CFURL>& url);

// The year ("2009") and the day ("Mar 04, 2009") of the item's date in local time, a link being
// dated by its target; none where the item has no path or no such date.
std::optional<std::u16string> CopyYearKey(const FSRef& item, DateAttribute attribute,
                                          bool* isUnknown = nullptr);
std::optional<std::u16string> CopyDayKey(const FSRef& item, DateAttribute attribute,
                                         bool* isUnknown = nullptr);

// Describes the date with gDateLocale; none without a date or a format.
std::optional<std::string> DescribeDate(const std::optional<NSCalendarDate>& date,
                                        std::optional<std::string_view> format);

}  // namespace tessary
