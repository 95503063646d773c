#pragma once

#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/status.h"

// A comment where desktop programs keep it: in an attribute of the file or folder, as UTF-8. Where
// there is none, the comment is that of a Mac (mac_formats/comment_forms.h).
namespace tessary {

// Reads the comment of the file or folder at a place into `*comment`: none where it has none, and
// the empty text where that is its comment. One listing of its attributes, and nothing more where
// they hold none and its folder no sidecars. `*origin`, where it is not null, is the name of the
// attribute or sidecar that holds the comment, empty for none. noErr; fnfErr; afpAccessDenied; else
// what the file system reports. Nothing is written on failure.
Status ReadComment(const Place& place, std::optional<std::string>* comment,
                   std::string* origin = nullptr);

// Makes the text the comment of the file or folder at a place; one that has this comment is not
// written to. Where a Mac keeps a comment of it, that one becomes the same; a text that has no room
// there leaves it empty. A file of this user's that is write-protected is opened to writing for
// that moment. noErr; paramErr (the volume has no attributes, and no Mac's comment stands);
// dskFulErr or ioErr where the comment is too large for the volume; the statuses of ReadComment;
// wPrErr; else what the file system reports. On failure the comment is what it was; but where the
// attribute was written and a Mac's form was not, only that one is.
Status WriteComment(const Place& place, const std::string& comment);

}  // namespace tessary
