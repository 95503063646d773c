#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/calendar.h"
#include "platform/managers/file_attributes.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/urls.h"

// Keys: the names of the folders that items are filed into. A key is used verbatim; an item without
// a key stays where it is. No function here reports a failure. `*status`, if not null, is set to
// the reason if there is no key because the item could not be read; otherwise it is not written.
namespace tessary {

// The locale of the month names in day keys; none means English. Written at start-up only, so that
// later changes of the user's settings have no effect on this process.
extern std::optional<DateLocale> gDateLocale;

// Returns the file's own four-character type, trailing spaces included. If the file has none:
// the type to which the extension map maps its lowercased extension. Otherwise none.
std::optional<std::u16string> CopyFileTypeKey(const FSRef& item, Status* status = nullptr);

// Returns the MIME type of the URL's extension, or "application/" and the extension if it has no
// known type. Returns none without a URL or an extension. The key holds a "/" but names one folder.
std::optional<std::u16string> CopyMimeTypeKey(const std::optional<CFURL>& url);

// Return the year ("2009") or the day ("Mar 04, 2009") of the item's date in local time. A symbolic
// link has the date of its target. None if the item has no path or no such date.
std::optional<std::u16string> CopyYearKey(const FSRef& item, DateAttribute attribute,
                                          Status* status = nullptr);
std::optional<std::u16string> CopyDayKey(const FSRef& item, DateAttribute attribute,
                                         Status* status = nullptr);

// Formats the date with the month names of gDateLocale. Returns none without a date or a format.
std::optional<std::string> DescribeDate(const std::optional<NSCalendarDate>& date,
                                        std::optional<std::string_view> format);

}  // namespace tessary
