#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

// No call of the kernel changes two names at once. So before an item and its sidecar are changed, a
// journal of what is about to happen is written into the folder; it goes when both are done. A
// journal whose maker died says how to bring the two together again
// (platform/linux/sidecars/sidecar_recovery.h).
namespace tessary {

enum class JournalOperation : char {
  kMove = 'M',  // both are renamed; the journal lies in the folder that they leave
  kMoveAcrossFilesystems =
      'A',        // both were copied and are deleted; it lies in the folder that they leave
  kCopy = 'C',    // both are copied; it lies in the folder that they go to
  kDelete = 'D',  // both are deleted
  kMoveTarget =
      'T',  // both are renamed; it lies in the folder that they go to, as a second journal
};

// What an object is recognised by later.
struct ObjectFingerprint {
  Identity identity;
  uint32_t type = 0;  // the S_IFMT bits of its mode
  uint64_t size = 0;
  int64_t seconds = 0;  // of its modification
  uint32_t nanoseconds = 0;

  static ObjectFingerprint Of(const struct statx& info);

  // The same object, whatever was done to it.
  bool MatchesIdentity(const struct statx& info) const;

  // What a copy of the object shows too, and the object itself on a volume that was mounted anew
  // and has no lasting inode numbers.
  bool MatchesAttributes(const struct statx& info) const;
};

struct JournalEntry {
  JournalOperation change = JournalOperation::kMove;
  std::string name;     // the item's in the folder that it leaves
  std::string newName;  // in the folder that it goes to, unless it is deleted
  // Of the folder that they go to. On an arrival, and of copies of what is to be deleted, of the
  // one that they leave. Empty otherwise.
  std::string otherPath;
  ObjectFingerprint item;
  ObjectFingerprint sidecar;
};

// The entry as the bytes of a journal, and back; none for bytes that are no whole journal, or one
// with a name that leads to another folder.
std::string FormatJournalEntry(const JournalEntry& entry);
std::optional<JournalEntry> ParseJournalEntry(std::string_view bytes);

// A journal on the disk, locked while it lives, and removed when it goes.
class SidecarJournal {
 public:
  SidecarJournal() = default;
  SidecarJournal(const SidecarJournal&) = delete;
  SidecarJournal& operator=(SidecarJournal&& other) noexcept;
  ~SidecarJournal() { Remove(); }

  // Writes the journal into the folder open as `folder`, which stays open while the journal lives.
  // A volume that has no room for it must not keep anybody from moving things off it or deleting
  // them: there the journal is not on the disk, and what is done is done without. noErr, else what
  // the file system reports; nothing is then left behind.
  static Status Write(int folder, const JournalEntry& entry, SidecarJournal* journal);

  // The names that an item and its sidecar bear while they are being deleted. They are visible ones
  // where people may have to find what a crash leaves there.
  std::string StagedItemName() const;
  std::string StagedSidecarName() const;

  // From here on the journal stays when its owner goes: a later look has to finish what it tells
  // of.
  void Keep() { isOnDisk_ = false; }

 private:
  static Status Make(int folder, SidecarJournal* journal);
  void Remove();

  int folder_ = -1;
  std::string name_;
  bool isOnDisk_ = false;
  UniqueFd file_;
};

// The same names, as they follow from that of a journal on the disk.
std::string StagedItemNameOf(const std::string& entryName);
std::string StagedSidecarNameOf(const std::string& entryName);

}  // namespace tessary
