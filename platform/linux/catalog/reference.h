#pragma once

#include <sys/stat.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/managers/file_manager.h"

// The contents of an FSRef on Linux.
namespace tessary {

// Properties of the filesystem with that device number (platform/linux/catalog/volume.h). False for
// a device that VolumeOf has not examined in this run.
//
// True if an untouched object gets another inode number once the kernel has dropped it from memory,
// as on FAT, exFAT, overlays of several filesystems, and with most FUSE drivers.
bool HasUnstableInodes(uint32_t device);

// True if a folder gets another birth time when something in it is changed for the first time, as
// on overlayfs.
bool HasUnstableFolderBirths(uint32_t device);

enum class NodeKind : uint8_t { kNone = 0, kFile, kFolder, kLink, kSpecial };

// What identifies an object, independent of its name. The birth time is part of it because the
// filesystem may give the inode number of a deleted object to a new one.
struct Identity {
  uint64_t inode = 0;
  uint64_t birth = 0;   // nanoseconds since 1970, modulo 2^64; 0 if unknown or not stable
  uint32_t device = 0;  // 12 bits of major and 20 of minor number, as in the kernel

  // The identity in a statx result that was asked for with kIdentityMask.
  static Identity Of(const struct statx& info);

  // True if both identify the same object. Both must have been read while something kept the object
  // in memory, an open descriptor for example: otherwise a filesystem without stable inode numbers
  // may have renumbered it. A birth time that is unknown on one side is not
  // compared: a reference made from a directory entry has none.
  bool Equals(const Identity& other) const {
    return inode == other.inode && device == other.device && IsBirthCompatible(other);
  }

  // True if the object that `other` identifies, found later under the same name in the same
  // verified folder, can be this one. Like Equals, but inode numbers are not compared on
  // filesystems on which they change while nobody touches the object.
  bool Matches(const Identity& other) const {
    return Equals(other) ||
           (device == other.device && IsBirthCompatible(other) && HasUnstableInodes(device));
  }

 private:
  bool IsBirthCompatible(const Identity& other) const {
    return birth == other.birth || birth == 0 || other.birth == 0;
  }
};

inline constexpr size_t kInlineNameSize = 52;

// The layout of an FSRef: the object's identity, and its place as the number of an interned folder
// and a name. All zero means no object; "/" is a folder without parent and name.
struct Reference {
  uint64_t inode = 0;
  uint64_t birth = 0;
  uint32_t device = 0;
  uint32_t parent = 0;  // number of the interned folder that holds the object, 0 for "/"
  uint16_t nameLength = 0;
  NodeKind kind = NodeKind::kNone;  // kSpecial also if it was unknown when the reference was made
  uint8_t unused = 0;
  // The name, or for a longer name its position in the NameTable.
  char name[kInlineNameSize] = {};

  bool IsNone() const { return kind == NodeKind::kNone; }
  bool IsFolder() const { return kind == NodeKind::kFolder; }
  Identity GetIdentity() const { return {inode, birth, device}; }
};
static_assert(sizeof(Reference) == sizeof(FSRef));

inline Reference ReferenceOf(const FSRef& ref) { return std::bit_cast<Reference>(ref); }
inline FSRef RefOf(const Reference& reference) { return std::bit_cast<FSRef>(reference); }

// True if `info`, asked for with kIdentityMask, is that of the reference's object. The kinds are
// compared too: an object never changes its kind, but an inode number is reused.
bool IsObjectOf(const Reference& reference, const struct statx& info);

// The fields that statx must return for Identity::Of, IsObjectOf and the functions below.
inline constexpr unsigned kIdentityMask = STATX_TYPE | STATX_INO | STATX_BTIME;

NodeKind KindOf(const struct statx& info);

inline bool IsSameTime(const statx_timestamp& first, const statx_timestamp& second) {
  return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
}

// True for an object on which a filesystem, or a part of one, is mounted. That can be a file.
bool IsMountPoint(const struct statx& info);

// True for a folder on which a filesystem is mounted.
bool IsVolumeRoot(const struct statx& info);

}  // namespace tessary
