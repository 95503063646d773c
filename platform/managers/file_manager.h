#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/status.h"

// The File Manager: references to files and folders, catalog queries, listings, and the operations
// that create, move, copy and delete.
//
// Names are UTF-16 catalog names. A ":" in a POSIX name is "/" in the catalog name, and the other
// way round. Bytes that are not UTF-8 become the lone surrogates U+DC80..U+DCFF and convert back to
// the same bytes. Paths are absolute POSIX paths, in the bytes that the filesystem stores.
//
// Every function that takes a reference checks that the object found under its name is still the
// object that the reference was made from. If another object has the name, the function fails with
// fnfErr, as if there were none. Besides the statuses listed at a function, each may return a
// filesystem error: afpAccessDenied, dskFulErr, wPrErr, ioErr, tmfoErr, memFullErr, errFSBadFSRef.
//
// Sidecars: on a filesystem that cannot store a Mac's metadata, a Mac keeps it in a file beside the
// item, its sidecar. The sidecar's name is the item's name with "._" before it. Listings show
// sidecars like other files. Moving, copying and deleting an item includes its sidecar, under the
// matching name: both or neither. No system call is made for a sidecar in a folder in which no "._"
// name has been seen. A sidecar without its item (an orphaned sidecar) stays where it is.
namespace tessary {

// A reference to one existing file or folder: its identity and the way to it. Trivially copyable
// and owned by its holder; valid at least until the NSAutoreleasePool in which it was made is
// released. Compare references only with FSCompareFSRefs; test them with FSIsFSRefValid. All bytes
// zero means "no object".
struct FSRef {
  alignas(8) unsigned char hidden[80] = {};
};
static_assert(sizeof(FSRef) == 80);

// The older-style file specification: a number that stands for a path and an identity. Valid for
// the lifetime of this process.
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
inline constexpr uint16_t kHasBundle = 0x2000;    // Finder flag: the folder is a package

// A scope within which stats of objects are cached. The first question about an object costs a
// system call; later questions within the scope (whether it exists, its kind, dates and attributes,
// its path, URL or a new reference to it) are answered from the cached stat. The engine opens one
// scope per item, in which it needs the same few objects several times.
//
// A cached stat may be out of date, so an operation that changes an object does not rely on it:
// moving and deleting stat the object again, and copying checks it once it is open; they fail with
// fnfErr if it was replaced. Only FSTryFastMove trusts the cached stat. The operations remove from
// the cache what they change.
//
// Scopes may be nested. Each begins with an empty cache, and the cache is empty after each ends.
class FSStatCacheScope {
 public:
  FSStatCacheScope();
  ~FSStatCacheScope();
  FSStatCacheScope(const FSStatCacheScope&) = delete;
  FSStatCacheScope& operator=(const FSStatCacheScope&) = delete;
};

// The fields that a catalog query reads, as a bit mask.
using FSCatalogInfoBitmap = uint32_t;
inline constexpr FSCatalogInfoBitmap kFSCatInfoNone = 0x0;
inline constexpr FSCatalogInfoBitmap kFSCatInfoNodeFlags = 0x2;
inline constexpr FSCatalogInfoBitmap kFSCatInfoNodeID = 0x10;
inline constexpr FSCatalogInfoBitmap kFSCatInfoFinderInfo = 0x800;
inline constexpr FSCatalogInfoBitmap kFSCatInfoFinderXInfo = 0x1000;

inline constexpr uint16_t kFSNodeIsDirectoryMask = 0x10;
inline constexpr uint32_t kFSRootNodeID = 2;  // "/" and every mount point, and nothing else

struct FSCatalogInfo {
  uint16_t nodeFlags = 0;
  uint32_t nodeID = 0;
  FileInfo finderInfo;
  ExtendedFileInfo extFinderInfo;
};

// Reads what the arguments request about the object of `ref`, and no more: the fields of
// `whichInfo` into `*info`, and the name, the file specification and the parent folder into those
// of the other out-arguments that are not null. Other fields of `*info` are unchanged. If nothing
// is requested, the query only checks that the object exists. The parent of a mount point is the
// folder that contains it; the parent of "/" is the all-zero reference. Returns noErr; fnfErr (no
// such object); paramErr (`whichInfo` requests fields and `info` is null, or the all-zero
// reference). Nothing is written on failure.
Status FSGetCatalogInfo(const FSRef& ref, FSCatalogInfoBitmap whichInfo, FSCatalogInfo* info,
                        std::u16string* name, FSSpec* spec, FSRef* parent);

// Returns false if the object of `ref` is certainly not a folder: it was a file or a link when the
// reference was made, and no object changes its kind. Makes no system call.
bool FSMayBeFolder(const FSRef& ref);

// Returns true if the object of `ref` exists and is still the one that the reference was made from.
bool FSIsFSRefValid(const FSRef& ref);

// Returns true if no object, of whatever kind, has the name of `ref` any more. False if that cannot
// be determined.
bool FSIsNameGone(const FSRef& ref);

// Returns true if the name of `ref` no longer exists and that is expected: it was a temporary file,
// which exists only during a change or, after an interrupted one, until it is cleaned up; or it was
// a sidecar whose item is gone too, because both move together. False if the folder cannot be read.
bool FSIsDisappearanceExpected(const FSRef& ref);

// Compares identities; makes no system call. Returns noErr if both references designate the same
// object, by whatever path or hard link it was reached; otherwise errFSRefsDifferent, also if
// either is the all-zero reference.
Status FSCompareFSRefs(const FSRef& first, const FSRef& second);

// The state of one iteration over a folder's direct children. The caller owns it; FSCloseIterator
// or its destruction closes it.
class FSIteratorState;
struct FSIteratorDeleter {
  void operator()(FSIteratorState* state) const;
};
using FSIterator = std::unique_ptr<FSIteratorState, FSIteratorDeleter>;

// Begins an iteration over the direct children of `folder`, including invisible ones, in the order
// in which the filesystem lists them. `*iterator` is written on success only. Returns noErr;
// paramErr (no out-argument, or the all-zero reference); errFSNotAFolder; fnfErr.
Status FSOpenIterator(const FSRef& folder, FSIterator* iterator);

// Writes up to `maximum` references into the caller's array `refs` and their number into `*actual`
// (0 on failure). `*containerChanged` is set to whether the folder changed since the last call.
// Returns noErr; errFSNoMoreItems (the listing has ended; references may still have been written by
// the same call); paramErr (a missing out-argument, or a maximum of 0).
Status FSGetCatalogInfoBulk(FSIteratorState& iterator, size_t maximum, size_t* actual,
                            bool* containerChanged, FSRef* refs);

// Ends the iteration and empties `*iterator`. Returns noErr; paramErr (no iterator).
Status FSCloseIterator(FSIterator* iterator);

// Makes the reference of the object named `name` in the folder `parent`; a link is not followed.
// Returns noErr; fnfErr (no such name, or `parent` is gone); bdNamErr (the names "", "." and "..",
// a name with NUL, one that cannot be converted or is too long); errFSNotAFolder (`parent`);
// paramErr (no out-argument, or `parent` is the all-zero reference). On failure `*child` is all
// zero.
Status FSMakeFSRefUnicode(const FSRef& parent, std::u16string_view name, FSRef* child);

// Creates a folder named `name` in `parent`. Returns the statuses of FSMakeFSRefUnicode, where
// fnfErr means that `parent` is gone, and dupFNErr (the name exists). On failure `*folder` is all
// zero, and nothing was created.
Status FSCreateDirectoryUnicode(const FSRef& parent, std::u16string_view name, FSRef* folder);

// Returns true if the object of `item` has a sidecar, and `folder` contains an object with the name
// that this sidecar would get beside the item's new name `name`. False if that cannot be read.
// Makes no system call if no "._" name has been seen in the item's folder.
bool FSIsSidecarNameUsed(const FSRef& item, const FSRef& folder, std::u16string_view name);

// Moves the object of `source` into `folder`, under `newName` or, if that is null, under its own
// name; across filesystems too. Never replaces an existing object. At every moment the object is
// complete under its old or its new name. `*target` is a reference to the moved object, written on
// success only. If the moved object cannot be examined, that is not a failure: the reference is
// then made from what is known, and may not be valid. The same holds for the functions below that
// copy, and for FSCreateDirectoryUnicode. Returns:
//
//   noErr
//   dupFNErr         the new name, or that of the sidecar, exists
//   badMovErr        a folder into itself
//   bdNamErr         as for FSMakeFSRefUnicode
//   errFSNotAFolder  `folder`
//   fnfErr           `source` or `folder` is gone
//   paramErr         no out-argument; `source` is "/" or the all-zero reference; across
//   filesystems:
//                    not a regular file, folder or link
//   diffVolErr       across filesystems: another filesystem is mounted inside the folder
//   fBsyErr          across filesystems: the object kept changing, or changed after it was copied
//
// On failure the object is where it was. One exception: if, across filesystems, another object took
// the old name meanwhile, both are kept, and the log says under which name this object is.
Status FSMoveObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target);

// Returns how many moves of this process to another filesystem have kept their copy because another
// program had moved or deleted the source before it was to be deleted. If that program is moving
// the source too, there are two copies.
uint64_t FSCountKeptCopies();

// The fast path of FSMoveObjectSync: one rename, under the object's own name. It does not apply to
// folders, across filesystems, or if a sidecar is involved. Within an FSStatCacheScope the cached
// stat is trusted: if another object took the name since, that one is moved, as if the caller had
// just made the reference, and `*target` is then not valid. Returns noErr, and `*target` is
// written; any other status means that nothing was changed, and the caller uses FSMoveObjectSync,
// which returns the definite status.
Status FSTryFastMove(const FSRef& source, const FSRef& folder, FSRef* target);

// Copies the object of `source` into `folder`, under `newName` or, if that is null, under its own
// name. Never replaces an existing object. The copy gets its name only when it is complete, with
// contents, attributes, mode and dates. The object's own comment is not copied. `*target` is a
// reference to the copy, written on success only. Returns the statuses of FSMoveObjectSync across
// filesystems, also within one. On failure nothing remains of the copy.
Status FSCopyObjectSync(const FSRef& source, const FSRef& folder, const std::u16string* newName,
                        FSRef* target);

// The fast path of FSCopyObjectSync for a small regular file, under its own name. It does not apply
// if a sidecar is involved. Returns noErr, and `*target` is written; any other status means that
// nothing remains of a copy, and the caller uses FSCopyObjectSync, which returns the definite
// status.
Status FSTryFastCopy(const FSRef& source, const FSRef& folder, FSRef* target);

// Makes copying faster: while one item of a list is being copied, copies of the next ones are
// prepared where nobody sees them. It is a hint only. FSCopyObjectSync and FSTryFastCopy use a
// prepared copy if its source has not changed since and the target folder gives it nothing that it
// does not have; otherwise they copy as usual, with the same results, statuses and log lines. When
// the object is destroyed, nothing remains of what was prepared in vain. Copies are prepared only
// on local filesystems, and not while another object of this class does so.
class CopyAhead;
class FSCopyAhead {
 public:
  // `items` are the `count` references of a list, some of which are going to be copied in its order
  // into subfolders of `folder`. The list is borrowed; it must not change.
  FSCopyAhead(const FSRef* items, size_t count, const FSRef& folder);
  ~FSCopyAhead();
  FSCopyAhead(const FSCopyAhead&) = delete;
  FSCopyAhead& operator=(const FSCopyAhead&) = delete;

  // The element `item` of the list is about to be copied, and likely the ones after it, too.
  void WillCopy(const FSRef& item);

 private:
  void Start();
  void Plan(size_t count);

  const FSRef* items_;
  size_t count_;
  FSRef folder_;
  size_t next_ = 0;  // the first element that has not been considered
  bool isTried_ = false;
  std::unique_ptr<CopyAhead> ahead_;  // null if nothing is prepared
};

// Deletes a file, a link or an empty folder; never another object that has taken its name. If the
// containing folder has not been listed yet, it is scanned once for sidecars. Returns noErr;
// fBsyErr (a folder that is not empty, "/", or another object took the name during the call);
// fnfErr; paramErr (the all-zero reference).
Status FSDeleteObject(const FSRef& ref);

// Completes or rolls back what a crashed process left in the folder: deletes its stale temporary
// files and folders, and recovers items and sidecars that it separated, for which other folders may
// be changed too. No other function of this header does so. Call it before a run lists a folder
// that it moves from, and before it first uses a destination folder. Temporary files and journal
// entries in use by another process are left alone. Does nothing when called again for the same
// folder before the pool of its reference is released. Best effort: a sidecar that cannot be
// recovered is logged, nothing else is reported.
void FSRecoverFolder(const FSRef& folder);

// Writes the object's path and a terminating zero into `buffer`, of `size` bytes. Returns noErr;
// fnfErr; paramErr (no buffer, or the all-zero reference); bdNamErr (the path does not fit). On
// failure the buffer is unchanged.
Status FSRefMakePath(const FSRef& ref, char* buffer, size_t size);

// Returns the path under which the object of `ref` was last known, whether or not it still exists;
// for messages. Empty for the all-zero reference. Makes no system call.
std::string FSLastKnownPath(const FSRef& ref);

// Returns the path that an object named `name` has or would have in `folder`; for messages. Makes
// no system call.
std::string FSPathOfChild(const FSRef& folder, std::u16string_view name);

// Makes the reference of the object at the absolute `path`. A link in the last component is not
// followed. Returns noErr; fnfErr; dirNFErr; bdNamErr; paramErr (no path, a relative path, or no
// out-argument). On failure `*ref` is all zero.
Status FSPathMakeRef(const char* path, FSRef* ref);

// Makes a reference from a file specification that FSGetCatalogInfo wrote in this process. Returns
// noErr; fnfErr (the object is gone or another one has its path); paramErr (not a file
// specification, or no out-argument); otherwise a status of FSPathMakeRef. On failure `*ref` is all
// zero.
Status FSpMakeFSRef(const FSSpec& spec, FSRef* ref);

// Deletes the file or link at the absolute `path`. The name is looked up in the folder that the run
// knows by that path, and never in another folder that has taken the path. Returns 0, or the errno
// of the failure, EISDIR for a folder.
int PosixUnlink(const char* path);

// Resolves a path given by the user, which may be relative and contain links, "." and "..". Writes
// the absolute path, without links, of the object that it leads to. Use it once for each such path;
// the other functions do not follow a link in the last component. Returns noErr; fnfErr; dirNFErr;
// bdNamErr (too long); ioErr (a loop of links); afpAccessDenied; paramErr (an empty path).
// `*resolved` is written on success only.
Status ResolveNamedPath(const std::string& path, std::string* resolved);

}  // namespace tessary
