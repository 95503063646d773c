#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/apple_events.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/urls.h"

// Comments of files and folders. The application with the signature 'MACS' keeps them; they are
// read and written by Apple events. A comment is UTF-16 text of any length; the empty text is a
// comment too. Statuses that are not named are those of the Apple Event Manager or of that
// application, passed through unchanged. Out-arguments are written on success only.
namespace tessary {

// The idle routine for events that wait for a reply. Requests the next call in 10 ticks and no
// mouse region, yields to other threads, and returns false, so that the wait goes on.
bool WaitIdleProc(int32_t* sleepTime, RgnHandle* mouseRegion);

// WaitIdleProc, initialised before main. The name is fixed.
// NOLINTNEXTLINE(readability-identifier-naming)
extern const AEIdleUPP gWaitIdleUPP;

// Reads the item's comment and waits for the reply. If the item has no comment, returns noErr and
// does not write `*comment`. Errors: paramErr (a null argument; nothing is sent),
// coreFoundationUnknownErr (the item has no path).
Status GetFinderComment(const FSRef* item, std::optional<std::u16string>* comment, AEIdleUPP idle);

// Writes the item's comment. With an idle routine, waits for the reply; with a null one, returns
// noErr as soon as the event is queued. Errors: paramErr (a null item or comment; nothing is sent),
// coreFoundationUnknownErr (the item has no path).
Status SetFinderComment(const FSRef* item, const std::u16string* comment, AEIdleUPP idle);

// Returns the item's comment, or none if it has none or it cannot be read.
std::optional<std::u16string> CopyFinderCommentOrNull(const FSRef& item);

// Make the object specifier of the item by its HFS-style path, which ends in ":" for a folder.
// Errors: paramErr (a null argument), coreFoundationUnknownErr (the item has no path).
Status MakeItemObjectSpecifier(const FSRef* item, AEDesc* specifier);
Status MakeObjectSpecifierFromURL(const CFURL* url, AEDesc* specifier);

// Makes a typeUnicodeText descriptor. Errors: paramErr (a null argument), memFullErr.
Status MakeUnicodeTextDesc(const std::u16string* text, AEDesc* desc);

// Reads a descriptor as text. For the null descriptor, returns noErr and does not write `*text`. An
// odd byte at the end is dropped. Errors: paramErr (`text` is null), errAECoercionFail (the
// descriptor cannot be converted to text).
Status CopyUnicodeTextAsString(const AEDesc& desc, std::optional<std::u16string>* text);

// Sends the event. With an idle routine, waits for the reply and returns the error that it reports.
Status SendFinderEvent(AEIdleUPP idle, const AppleEvent& event);

// Sends the event, waits for the reply and reads its direct object as `desiredType`. If the reply
// is null, writes the null descriptor. Errors: paramErr (a null argument; nothing is sent),
// errAEDescNotFound (the reply has no direct object).
Status SendForDirectObject(AEIdleUPP idle, const AppleEvent& event, DescType desiredType,
                           AEDesc* directObject);

// Returns the error that the application reports in its reply, or noErr if it reports none.
Status GetReplyErrorNumber(const AppleEvent& reply);

}  // namespace tessary
