#pragma once

#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/managers/status.h"

// The comment of a file or folder. It is stored where desktop programs store it, in the attribute
// kCommentAttribute as UTF-8. If that attribute does not exist, a comment written by a Mac counts
// (mac_formats/comment_forms.h).
namespace tessary {

// Reads the comment of the file or folder at a place. `*comment` is none if there is no comment; a
// comment may be the empty text. `*origin`, unless null, receives the name of the attribute or
// sidecar that holds the comment, or the empty text. Costs one listing of the attributes, and no
// more if none of them holds a comment and the folder has no sidecars. Returns noErr; fnfErr;
// afpAccessDenied; otherwise a filesystem error. Nothing is written on failure.
Status ReadComment(const Place& place, std::optional<std::string>* comment,
                   std::string* origin = nullptr);

// Sets the comment of the file or folder at a place. Does not write if it already has this comment.
// Every comment that a Mac stored with the item is replaced too; one whose form has no room for the
// text becomes empty. If the file is write-protected and belongs to this user, it is made writable
// for the duration of the call. Returns noErr; paramErr (the filesystem has no attributes, and
// there is no Mac comment to replace); dskFulErr or ioErr (the comment is too large for the
// filesystem); wPrErr; the statuses of ReadComment; otherwise a filesystem error. On failure the
// comment is unchanged, unless the attribute was written before a Mac's form failed.
Status WriteComment(const Place& place, const std::string& comment);

}  // namespace tessary
