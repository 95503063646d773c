#pragma once

namespace tessary {

// Has an agent of this process answer for the signature 'MACS': it keeps the comments of files and
// folders and answers two Apple events, core/getd and core/setd, whose direct object is the
// property 'comt' of an item. The item is named by its HFS-style path; the folders on the way are
// those that the file manager knows, so that within a run a path that was swapped is not followed.
//
// Answers of getd: the comment as typeUnicodeText, or the null descriptor where the item has none.
// Setd takes the comment as parameter 'data'; what is there already is not written again. Bytes of
// a comment that are not UTF-8 are carried as text.h has it.
//
// Errors, as parameter 'errn': errAENoSuchObject (no such item, or no longer one of that class);
// errAEEventNotHandled (another event, property, class or key form); errAENotAnObjSpec (no object
// specifier, or one that lacks a field); errAEDescNotFound (no direct object, no 'data');
// errAECoercionFail ('data' is no text); afpAccessDenied (also for what is no file or folder, and
// so can have no comment); otherwise what the file system reports. On an error the item's comment
// is what it was.
void RegisterCommentAgent();

}  // namespace tessary
