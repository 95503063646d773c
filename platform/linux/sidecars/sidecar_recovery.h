#pragma once

namespace tessary {

// Brings together again the items and sidecars that makers which died have left parted, as their
// records in the folder open as `folder` tell. It is registered with the catalog, which calls it
// for every folder in whose listing it meets a journal. Records that are in use, or another user's,
// are left alone; nothing is ever replaced, and nothing is deleted but what the journal's maker had
// set out to delete or had made itself. Nothing is reported.
//
//   the journal, in     tells of     what is found                       what is done
//   the folder left    a move       the item here, its sidecar there    the sidecar comes back
//                                   the item here and there, by a link  its name here is removed
//                                   both on one side                    nothing
//   the folder left    a move       the item here, its sidecar aside    the sidecar comes back
//                      across       the item gone, both copies there    the sidecar is deleted
//   the target folder  a copy       the sidecar's copy alone            it is deleted
//                                   both copies                         what is under way where
//                                                                       they were made of is mended
//                      an arrival   anything                            the same
//   the folder         a deletion   the item in place, its sidecar      the sidecar comes back
//                                   aside
//                                   both aside, the item unchanged      both are deleted
//                                   both aside, another item            both come back
void RecoverSidecars(int folder);

}  // namespace tessary
