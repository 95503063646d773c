#pragma once

namespace tessary {

// Registers the agent of this process that reads and writes the comments of files and folders. It
// answers Apple events to the signature 'MACS': core/getd and core/setd, whose direct object is the
// property 'comt' of an item. The item is named by its HFS-style path. Folders on that path are
// resolved through the catalog, so a path that was swapped during a run is not followed.
//
// getd returns the comment as typeUnicodeText, or the null descriptor if the item has none. setd
// takes the comment as the parameter 'data' and does not rewrite an equal comment. Bytes that are
// not UTF-8 are converted as platform/managers/text.h describes.
//
// Errors are returned as the parameter 'errn': errAENoSuchObject (no such item, or one of another
// class); errAEEventNotHandled (another event, property, class or key form); errAENotAnObjSpec (not
// an object specifier, or one with a missing field); errAEDescNotFound (no direct object, no
// 'data'); errAECoercionFail ('data' is not text); afpAccessDenied (also for items that are neither
// files nor folders, which cannot have comments); otherwise the status of the filesystem. The
// comment is unchanged after an error.
void RegisterCommentAgent();

}  // namespace tessary
