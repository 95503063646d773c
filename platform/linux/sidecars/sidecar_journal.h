#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

// The journal of changes to an item and its sidecar.
//
// No system call changes two names at once. Before an item and its sidecar are moved, copied or
// deleted, a journal entry describes the operation; it is removed when the operation has succeeded
// or has been rolled back. The entry of a crashed process says how to complete the operation or to
// roll it back (sidecar_recovery.h).
//
// An entry is a file of mode 0600 named ".tessary-pair-UUID". The process that owns it holds an
// exclusive flock(2) on it: if the lock is free, the owner has crashed. It contains these fields,
// each followed by a zero byte, which no name and no path contains:
//
//   tessary pair 1
//   operation    one of the letters below
//   name         of the item in the folder that it leaves, or in which it is deleted
//   new name     of the item in the folder that it goes to; empty for D
//   other folder absolute path; empty if there is none or it does not matter
//   item         inode, birth time, device, type, size, modification time in seconds and
//   sidecar      nanoseconds: seven fields each, decimal, negative seconds modulo 2^64
//   end
//
// If an entry is not complete, its owner crashed while writing it, before the steps that follow it.
//
//   operation                  entry in         other folder  steps after the entry is written
//   M  move                    folder left      target        sidecar renamed, [T written,] item
//                                                             renamed[, T removed]
//   T  move, at the target     target           folder left   only if the filesystem has no
//                                                             RENAME_NOREPLACE
//   C  copy                    target           none          sidecar copied, item copied
//   D  deletion                the folder       none          sidecar staged, item staged, item
//                                                             deleted, sidecar deleted
//   C  move across             target           folder left   sidecar copied, A written
//   A    filesystems           folder left      target        sidecar staged, item copied, item
//                                                             deleted, sidecar deleted, C removed
//
// The two entries of a move (M and T, or A and C) have the same name, so that recovery finds each
// from the other. While both exist, the owner holds the lock of the one in the folder left:
// whoever acquires that lock may recover the operation. The entry at the target is removed first.
// If C remained and the item were then moved on, C would describe a copy that was not completed.
//
// "Staged" means renamed within its folder, so that the name is free while the object can still be
// restored. The staged sidecar is hidden, ".tessary-pair-UUID.sidecar"; the staged item is visible,
// "tessary-pair-UUID", because a user may have to find it after a crash.
namespace tessary {

inline constexpr std::string_view kJournalEntryPrefix = ".tessary-pair-";

// Returns true for the prefix followed by an upper-case UUID.
bool IsJournalEntryName(std::string_view name);

enum class JournalOperation : char {
  kMove = 'M',
  kMoveTarget = 'T',
  kMoveAcrossFilesystems = 'A',
  kCopy = 'C',
  kDelete = 'D',
};

// What identifies an object after a crash.
struct ObjectFingerprint {
  Identity identity;
  uint32_t type = 0;    // the S_IFMT bits of its mode
  uint64_t size = 0;    // in bytes
  int64_t seconds = 0;  // modification time
  uint32_t nanoseconds = 0;

  static ObjectFingerprint Of(const struct statx& info);

  // Returns true for the same object, whether or not it has been changed.
  bool MatchesIdentity(const struct statx& info) const;

  // Returns true for an unchanged copy of the object; also for the object itself on a filesystem
  // that assigns new inode numbers when it is mounted.
  bool MatchesAttributes(const struct statx& info) const;
};

struct JournalEntry {
  JournalOperation operation = JournalOperation::kMove;
  std::string name;
  std::string newName;
  std::string otherPath;
  ObjectFingerprint item;
  ObjectFingerprint sidecar;
};

// Convert an entry to the contents of its file and back. ParseJournalEntry returns none if the
// bytes are not a complete entry, or if a name in it is not that of an object in a folder.
std::string FormatJournalEntry(const JournalEntry& entry);
std::optional<JournalEntry> ParseJournalEntry(std::string_view bytes);

// The names that an item and its sidecar have while they are staged, by the name of the entry.
std::string StagedItemNameOf(const std::string& entryName);
std::string StagedSidecarNameOf(const std::string& entryName);

// Owns the entry of an operation in progress: its lock, and its file, which is removed with it.
class SidecarJournal {
 public:
  SidecarJournal() = default;
  SidecarJournal(const SidecarJournal&) = delete;
  SidecarJournal& operator=(SidecarJournal&& other) noexcept;
  ~SidecarJournal() { Remove(); }

  // Writes the entry into the folder open as `folder`, which must stay open while the journal
  // exists. If the filesystem is full, returns noErr without an entry on disk, because a user with
  // a full disk must be able to move and delete files. Returns noErr or what the filesystem
  // reports; on failure no file is left.
  static Status Write(int folder, const JournalEntry& entry, SidecarJournal* journal);

  // Writes a second entry of the operation of `first` into another folder, in the same way and
  // under the same name. If that name exists, because both folders are the same, the entry gets a
  // name of its own.
  static Status WriteSecond(const SidecarJournal& first, int folder, const JournalEntry& entry,
                            SidecarJournal* journal);

  std::string StagedItemName() const;
  std::string StagedSidecarName() const;

  // Leaves the entry on disk for recovery when the journal is destroyed.
  void Keep() { isOnDisk_ = false; }

 private:
  static Status Create(int folder, const std::string& name, SidecarJournal* journal);
  static Status WriteNamed(int folder, const std::string& name, const JournalEntry& entry,
                           SidecarJournal* journal);
  void Remove();

  int folder_ = -1;
  std::string name_;
  bool isOnDisk_ = false;
  UniqueFd file_;
};

}  // namespace tessary
