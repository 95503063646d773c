#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/unique_fd.h"
#include "platform/managers/status.h"

// No call of the kernel changes two names at once. So before an item and its sidecar are changed, a
// record of what is about to happen is written into the folder; it goes when both are done. A
// record whose maker died says how to bring the two together again
// (platform/linux/changes/pair_mending.h).
namespace tessary {

enum class PairChange : char {
  kMove = 'M',        // both are renamed; the record lies in the folder that they leave
  kMoveAcross = 'A',  // both were copied and are deleted; it lies in the folder that they leave
  kCopy = 'C',        // both are copied; it lies in the folder that they go to
  kDelete = 'D',      // both are deleted
  kArrival = 'T',     // both are renamed; it lies in the folder that they go to, as a second record
};

// What an object is recognised by later.
struct ObjectMark {
  Identity identity;
  uint32_t type = 0;  // the S_IFMT bits of its mode
  uint64_t size = 0;
  int64_t seconds = 0;  // of its modification
  uint32_t nanoseconds = 0;

  static ObjectMark Of(const struct statx& info);

  // The same object, whatever was done to it.
  bool IsOf(const struct statx& info) const;

  // What a copy of the object shows too, and the object itself on a volume that was mounted anew
  // and has no lasting inode numbers.
  bool IsLike(const struct statx& info) const;
};

struct PairIntent {
  PairChange change = PairChange::kMove;
  std::string name;     // the item's in the folder that it leaves
  std::string newName;  // in the folder that it goes to, unless it is deleted
  // Of the folder that they go to. On an arrival, and of copies of what is to be deleted, of the
  // one that they leave. Empty otherwise.
  std::string otherPath;
  ObjectMark item;
  ObjectMark sidecar;
};

// The intent as the bytes of a record, and back; none for bytes that are no whole record, or one
// with a name that leads to another folder.
std::string FormatPairIntent(const PairIntent& intent);
std::optional<PairIntent> ParsePairIntent(std::string_view bytes);

// A record on the disk, locked while it lives, and removed when it goes.
class PairRecord {
 public:
  PairRecord() = default;
  PairRecord(const PairRecord&) = delete;
  PairRecord& operator=(PairRecord&& other) noexcept;
  ~PairRecord() { Remove(); }

  // Writes the record into the folder open as `folder`, which stays open while the record lives. A
  // volume that has no room for it must not keep anybody from moving things off it or deleting
  // them: there the record is not on the disk, and what is done is done without. noErr, else what
  // the file system reports; nothing is then left behind.
  static Status Write(int folder, const PairIntent& intent, PairRecord* record);

  // The names that an item and its sidecar bear while they are being deleted. They are visible ones
  // where people may have to find what a crash leaves there.
  std::string ItemAside() const;
  std::string SidecarAside() const;

  // From here on the record stays when its owner goes: a later look has to finish what it tells of.
  void Keep() { isOnDisk_ = false; }

 private:
  static Status Make(int folder, PairRecord* record);
  void Remove();

  int folder_ = -1;
  std::string name_;
  bool isOnDisk_ = false;
  UniqueFd file_;
};

// The same names, as they follow from that of a record on the disk.
std::string ItemAsideName(const std::string& recordName);
std::string SidecarAsideName(const std::string& recordName);

}  // namespace tessary
