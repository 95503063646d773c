#pragma once

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/managers/file_manager.h"

// What an FSRef holds on Linux.
namespace tessary {

enum class NodeKind : uint8_t { kNone = 0, kFile, kFolder, kLink, kSpecial };

// What makes an object the same object, whatever its name.
struct Identity {
  uint64_t inode = 0;
  uint64_t birth = 0;   // nanoseconds since 1970, modulo 2^64; 0 where it is not known
  uint32_t device = 0;  // 12 bits of major and 20 of minor number, as the kernel has them

  dev_t GetDevice() const { return makedev(device >> 20, device & ((1U << 20) - 1)); }

  // The identity of the object that `info` is of, asked for with kIdentityMask.
  static Identity Of(const struct statx& info);

  // A birth time that only one side knows does not tell them apart.
  bool Matches(const Identity& other) const {
    return inode == other.inode && device == other.device &&
           (birth == other.birth || birth == 0 || other.birth == 0);
  }
};

inline constexpr size_t kInlineNameSize = 52;

// The layout of an FSRef: the object's identity, and the way to it as an interned folder's number
// and a name. All zero is no object; "/" is a folder without parent and name.
struct Reference {
  uint64_t inode = 0;
  uint64_t birth = 0;
  uint32_t device = 0;
  uint32_t parent = 0;  // number of the interned folder that holds the object, 0 for "/"
  uint16_t nameLength = 0;
  NodeKind kind = NodeKind::kNone;  // as last seen
  uint8_t unused = 0;
  char name[kInlineNameSize] =
      {};  // the name, or the place of a longer one among the interned names

  bool IsNone() const { return kind == NodeKind::kNone; }
  bool IsFolder() const { return kind == NodeKind::kFolder; }
  Identity GetIdentity() const { return {inode, birth, device}; }
};
static_assert(sizeof(Reference) == sizeof(FSRef));

inline Reference ReferenceOf(const FSRef& ref) { return std::bit_cast<Reference>(ref); }
inline FSRef RefOf(const Reference& reference) { return std::bit_cast<FSRef>(reference); }

// True where the object that `info` is of, asked for with kIdentityMask, is that of the reference.
// No object changes its kind, but an inode number that has become free is given to another one.
bool IsObjectOf(const Reference& reference, const struct statx& info);

// What statx has to be asked for so that the functions below can answer.
inline constexpr unsigned kIdentityMask = STATX_TYPE | STATX_INO | STATX_BTIME;

NodeKind KindOf(const struct statx& info);

inline bool IsSameTime(const statx_timestamp& first, const statx_timestamp& second) {
  return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
}

// True for a folder on which a volume is mounted.
bool IsVolumeRoot(const struct statx& info);

}  // namespace tessary
