#pragma once

#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/status.h"

// A comment where desktop programs keep it: in an attribute of the file or folder, as UTF-8.
namespace tessary {

// Reads the comment of the file or folder at a place into `*comment`: none where it has none, and
// the empty text where that is its comment. noErr; fnfErr; paramErr (the volume has no attributes);
// afpAccessDenied; else what the file system reports. Nothing is written on failure.
Status ReadComment(const Place& place, std::optional<std::string>* comment);

// Makes the text the comment of the file or folder at a place; one that has this comment is not
// written to. A file of this user's that is write-protected is opened to writing for that moment.
// noErr; dskFulErr or ioErr where the comment is too large for the volume; the statuses of
// ReadComment; wPrErr; else what the file system reports. On failure the comment is what it was.
Status WriteComment(const Place& place, const std::string& comment);

}  // namespace tessary
