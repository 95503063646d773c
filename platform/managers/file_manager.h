#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/status.h"

// The File Manager: references to files and folders, catalog queries, listings, and the operations
// that change the tree.
//
// Names are UTF-16 catalog names. A POSIX name's ":" is "/" in the catalog name and the other way
// round; bytes that are not UTF-8 appear as the lone surrogates U+DC80..U+DCFF and come back as the
// same bytes. Paths are POSIX paths, absolute, in the bytes that the file system holds.
//
// Every operation that takes a reference checks that the object found under its name is still the
// object that the reference was made of; another object there is answered like none (fnfErr).
// Besides the statuses named at each operation, every one may answer what the file system reports:
// afpAccessDenied, dskFulErr, wPrErr, ioErr, tmfoErr, memFullErr, errFSBadFSRef.
//
// What a Mac keeps of an item on a volume that has no place for it is a file beside it, its
// sidecar, of the item's name with "._" before it. Listings show sidecars like other files. Moving,
// copying and deleting an item takes its sidecar along under the matching name, all or nothing, if
// a "._" name has been seen in its folder; an item in a folder in which none has been seen is asked
// for none. A sidecar without its item is left where it is.
namespace tessary {

// Designates one existing file or folder. Copied by value and kept in plain arrays; compared only
// with FSCompareFSRefs and tested with FSIsFSRefValid. All bytes zero means "no object".
struct FSRef {
  alignas(8) unsigned char hidden[80] = {};
};
static_assert(sizeof(FSRef) == 80);

// The older-style file specification: a token of a reference, valid within this process.
struct FSSpec {
  unsigned char hidden[70] = {};
};
static_assert(sizeof(FSSpec) == 70);

// A file's Finder information, in host byte order.
struct FileInfo {
  uint32_t fileType = 0;     // four-character code, 0 when the file has none
  uint32_t fileCreator = 0;  // four-character code, 0 when the file has none
  uint16_t finderFlags = 0;
  int16_t locationV = 0;
  int16_t locationH = 0;
  uint16_t reserved = 0;
};
static_assert(sizeof(FileInfo) == 16);

struct ExtendedFileInfo {
  unsigned char bytes[16] = {};
};

inline constexpr uint16_t kIsInvisible = 0x4000;  // Finder flag: not shown to the user
inline constexpr uint16_t kHasBundle = 0x2000;    // Finder flag: a folder that is one item

// A step over one item. While it lasts, an object that has been looked at in it is not looked at
// again: whether it is there, what it is, its attributes, and the paths, URLs and references made
// of it come from what was seen first. What changes an object (moving, deleting) looks again by
// itself, and refuses one that is no longer the one meant; FSTryFastMove takes it as seen, and
// copying looks once it has it open. Of steps within one another only the innermost saves anything.
class FSStatCacheScope {
 public:
  FSStatCacheScope();
  ~FSStatCacheScope();
  FSStatCacheScope(const FSStatCacheScope&) = delete;
  FSStatCacheScope& operator=(const FSStatCacheScope&) = delete;
};

// What a catalog query asks for; the values combine.
using FSCatalogInfoBitmap = uint32_t;
inline constexpr FSCatalogInfoBitmap kFSCatInfoNone = 0x0;
inline constexpr FSCatalogInfoBitmap kFSCatInfoNodeFlags = 0x2;
inline constexpr FSCatalogInfoBitmap kFSCatInfoNodeID = 0x10;
inline constexpr FSCatalogInfoBitmap kFSCatInfoFinderInfo = 0x800;
inline constexpr FSCatalogInfoBitmap kFSCatInfoFinderXInfo = 0x1000;

inline constexpr uint16_t kFSNodeIsDirectoryMask = 0x10;
inline constexpr uint32_t kFSRootNodeID = 2;  // the root folder of a volume, and nothing else

struct FSCatalogInfo {
  uint16_t nodeFlags = 0;
  uint32_t nodeID = 0;
  FileInfo finderInfo;
  ExtendedFileInfo extFinderInfo;
};

// Asks the catalog about the object of `ref`, for no more than what is wanted: the fields of
// `whichInfo` go to `info`, and the name, the file specification and the parent folder are worked
// out only where their out-argument is not null. With nothing wanted the query only tells whether
// the object is there. The parent of a volume's root folder is that of the folder it is mounted on;
// of "/" it is the all-zero reference.
// Answers noErr, fnfErr (no such object), or paramErr (`whichInfo` wants fields and `info` is
// null). Nothing is written on failure.
Status FSGetCatalogInfo(const FSRef& ref, FSCatalogInfoBitmap whichInfo, FSCatalogInfo* info,
                        std::u16string* name, FSSpec* spec, FSRef* parent);

// False where the object of `ref` is known to be no folder without asking the file system, because
// it was none when the reference was made, and no object changes its kind.
bool FSMayBeFolder(const FSRef& ref);

// True when `ref` designates an existing object that is still the one it was made of.
bool FSIsFSRefValid(const FSRef& ref);

// True when the object of `ref` is gone from where it was and nothing is amiss with that: a "._"
// file has gone where the item went that it belongs to, and is gone too; and what a change of
// objects hides is there only while it is made, and after one that was interrupted until it is
// swept.
bool FSIsDisappearanceExpected(const FSRef& ref);

// noErr exactly when both designate the same object, however they were reached; otherwise
// errFSRefsDifferent (also where either is the all-zero reference).
Status FSCompareFSRefs(const FSRef& first, const FSRef& second);

// The state of one iteration over a folder's direct children. Owned by the caller; closing is
// dropping it, or FSCloseIterator.
class FSIteratorState;
struct FSIteratorDeleter {
  void operator()(FSIteratorState* state) const;
};
using FSIterator = std::unique_ptr<FSIteratorState, FSIteratorDeleter>;

// Opens a flat iteration over the children of `folder`, invisible ones included, in the order in
// which the file system hands them out. `*iterator` is set on success only.
// Answers noErr, paramErr (no out-argument), errFSNotAFolder, fnfErr.
Status FSOpenIterator(const FSRef& folder, FSIterator* iterator);

// Delivers up to `maximum` references into the caller's array `refs` and their number into
// `*actual` (0 on failure). `*containerChanged` is set to whether the folder changed since the last
// call, by the mending, too, of what an interrupted change has left in it, which is done when the
// listing ends. Answers noErr, errFSNoMoreItems when the listing has ended (references may still
// have been delivered by the same call), paramErr (a missing out-argument or a maximum of 0).
Status FSGetCatalogInfoBulk(FSIteratorState& iterator, size_t maximum, size_t* actual,
                            bool* containerChanged, FSRef* refs);

// Ends the iteration and empties `*iterator`. Answers noErr, paramErr (no iterator).
Status FSCloseIterator(FSIterator* iterator);

// Makes the reference of the object named `name` in the folder `parent`; a link is not followed.
// Answers noErr, fnfErr (none of that name), bdNamErr (the names "", "." and "..", one with NUL,
// one that does not convert or is too long for the volume), errFSNotAFolder (`parent` is none),
// paramErr. On failure `*child` is all zero.
Status FSMakeFSRefUnicode(const FSRef& parent, std::u16string_view name, FSRef* child);

// Makes a folder named `name` in `parent`. Answers noErr, dupFNErr, bdNamErr, errFSNotAFolder,
// fnfErr, paramErr. On failure `*folder` is all zero and nothing was made.
Status FSCreateDirectoryUnicode(const FSRef& parent, std::u16string_view name, FSRef* folder);

// True when no object of that name need be in `folder`, and yet the next one that gets the name
// would take on what is not its own: a sidecar lies there. Asks nothing where no "._" name has been
// seen in any folder of the run, and false where it cannot be told.
bool FSHasOrphanedSidecar(const FSRef& folder, std::u16string_view name);

// Moves the object of `source` into `folder`, under `newName` or, where that is null, under its own
// name; across volumes too. Nothing is ever overwritten, and the object is at all times whole under
// its old name or its new one. `*target` is the moved object's reference, set on success only.
// Answers noErr, dupFNErr (the name, or that of the sidecar, is taken), badMovErr (a folder into
// itself), bdNamErr, errFSNotAFolder, fnfErr, paramErr (across volumes: an object that is no file,
// folder or link), diffVolErr (across volumes: a folder in which another volume is mounted),
// fBsyErr (across volumes: the object keeps changing, or has changed since it was copied). On
// failure the object is where it was, unless across volumes another one has got its name meanwhile:
// then both are whole, and the log tells what this one is called.
Status FSMoveObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target);

// Moves what is no folder in the same way and under its own name, but only where one rename does it
// and nothing has to be decided: not across volumes, and not with a sidecar. An object that was
// seen in the step under way is not looked at again: what has got its name since is moved in its
// stead, as it would be by whoever makes the reference anew, and `*target` then designates nothing.
// On any failure nothing has been changed, and FSMoveObjectSync tells what is the matter.
Status FSTryFastMove(const FSRef& source, const FSRef& folder, FSRef* target);

// Copies the object of `source` into `folder` in the same way. The copy is complete, with
// attributes, mode and dates but without the object's own comment, before it bears its name.
// The statuses are those of FSMoveObjectSync across volumes, on the object's own as well. On
// failure nothing is left behind.
Status FSCopyObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target);

// Copies a file in the same way and under its own name, but only where nothing has to be decided
// and little is lost by trying: a small one, and not with a sidecar. On any failure nothing is left
// behind, and FSCopyObjectSync tells what is the matter.
Status FSTryFastCopy(const FSRef& source, const FSRef& folder, FSRef* target);

// Deletes the object, and never another one that has got its name: a file, a link, or a folder that
// is empty. A folder that has not been listed yet is looked through for a sidecar once. Answers
// noErr, fBsyErr (a folder that is not empty, or another object got the name at this moment),
// fnfErr.
Status FSDeleteObject(const FSRef& ref);

// Deletes from the folder what a run that died in the middle has left there, half made or half
// deleted and hidden from people. Only what a listing has met in this run is seen. What cannot be
// deleted stays, and nothing is reported: it is a favour, not a condition.
void FSRecoverFolder(const FSRef& folder);

// Writes the object's path and a terminating zero into `buffer`, of `size` bytes. Answers noErr,
// fnfErr, paramErr (no buffer, or the all-zero reference), bdNamErr (the path does not fit).
// On failure the buffer is untouched.
Status FSRefMakePath(const FSRef& ref, char* buffer, size_t size);

// Makes the reference of the object at the absolute `path`. The last component is not followed when
// it is a link. Answers noErr, fnfErr, dirNFErr, bdNamErr, paramErr (no or no absolute path, no
// out-argument). On failure `*ref` is all zero.
Status FSPathMakeRef(const char* path, FSRef* ref);

// Makes a reference from a file specification that FSGetCatalogInfo wrote in this process.
// Answers noErr, fnfErr, paramErr (not such a specification). On failure `*ref` is all zero.
Status FSpMakeFSRef(const FSSpec& spec, FSRef* ref);

// Removes the name at `path` when it is that of no folder. Answers 0, or the errno of the failure.
// A path that FSRefMakePath wrote is looked up in the folder that it was written for.
int PosixUnlink(const char* path);

// Turns a path that a person named (relative, through links, with "." and "..") into the absolute
// path of the object that it leads to; links are followed here and nowhere else.
// Answers noErr, fnfErr, dirNFErr, bdNamErr (too long), ioErr (a loop of links), afpAccessDenied,
// paramErr (an empty path). `*resolved` is set on success only.
Status ResolveNamedPath(const std::string& path, std::string* resolved);

}  // namespace tessary
