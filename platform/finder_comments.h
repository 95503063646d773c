#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/apple_events.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/urls.h"

// Comments of files and folders, which the application with the signature 'MACS' keeps: asked for
// and set by Apple events. A comment is UTF-16 text of any length; the empty text is a comment too.
// Statuses that are not named are the Apple Event Manager's or what that application reports,
// passed through unchanged. Out-arguments are written on success only.
namespace tessary {

// The idle routine of every waiting send: asks for the next look in 10 ticks and for no mouse
// region, lets other threads run, and never ends the wait.
bool WaitIdleProc(int32_t* sleepTime, RgnHandle* mouseRegion);

// WaitIdleProc, there before main runs. Named like the globals that are written to.
// NOLINTNEXTLINE(readability-identifier-naming)
extern const AEIdleUPP gWaitIdleUPP;

// Asks for the item's comment and waits for the answer. `*comment` is left alone where the item has
// none, which is a success as well. paramErr, sending nothing, when an argument is missing;
// coreFoundationUnknownErr when the item has no path.
Status GetFinderComment(const FSRef* item, std::optional<std::u16string>* comment, AEIdleUPP idle);

// Sets the item's comment. With an idle routine it waits for the answer; without one it answers
// noErr as soon as the event is queued. paramErr, sending nothing, when there is no item or
// comment; coreFoundationUnknownErr when the item has no path.
Status SetFinderComment(const FSRef* item, const std::u16string* comment, AEIdleUPP idle);

// The item's comment; none where it has none and where it cannot be told.
std::optional<std::u16string> CopyFinderCommentOrNull(const FSRef& item);

// Makes the specifier of the item by its path, a folder's ending in ":". paramErr when an argument
// is missing; coreFoundationUnknownErr when the item has no path.
Status MakeItemObjectSpecifier(const FSRef* item, AEDesc* specifier);
Status MakeObjectSpecifierFromURL(const CFURL* url, AEDesc* specifier);

// Makes a typeUnicodeText descriptor. paramErr when an argument is missing; memFullErr.
Status MakeUnicodeTextDesc(const std::u16string* text, AEDesc* desc);

// Reads a descriptor as text. `*text` is left alone, with noErr, where it cannot be told as text
// for it tells nothing. An odd byte at the end is dropped. paramErr when `text` is null;
// errAECoercionFail when it tells something else.
Status CopyUnicodeTextAsString(const AEDesc& desc, std::optional<std::u16string>* text);

// Sends the event. With an idle routine it waits and answers what the application reports.
Status SendFinderEvent(AEIdleUPP idle, const AppleEvent& event);

// Sends the event, waits, and gives the reply's direct object as `desiredType`: the null descriptor
// where there is no reply. paramErr, sending nothing, when an argument is missing;
// errAEDescNotFound when the reply has no direct object.
Status SendForDirectObject(AEIdleUPP idle, const AppleEvent& event, DescType desiredType,
                           AEDesc* directObject);

// The error that the application reports in its reply; noErr where it reports none.
Status GetReplyErrorNumber(const AppleEvent& reply);

}  // namespace tessary
