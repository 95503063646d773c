#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/file_attributes.h"
#include "platform/managers/item_details.h"
#include "platform/managers/status.h"

// Announces every change that this process makes to the files of a run, so that a journal can
// record it. Without an observer nothing is announced, and no operation makes an additional system
// call.
namespace tessary {

// What identifies an object, and shows whether it has changed.
struct ObjectState {
  ItemKind type = ItemKind::kFile;
  uint64_t device = 0;
  uint64_t inode = 0;
  uint64_t birth = 0;  // nanoseconds since 1970, modulo 2^64; 0 if unknown or not stable
  uint64_t size = 0;   // in bytes; 0 for a folder
  Timestamp modified;

  bool operator==(const ObjectState&) const = default;
};

enum class ChangeKind { kFolderCreated, kItemMoved, kItemCopied, kItemDeleted };

struct Change {
  ChangeKind kind = ChangeKind::kItemMoved;
  std::string source;  // the item's path; empty for a created folder
  std::string target;  // the path of the folder, or of the item afterwards; empty for a deletion
  std::optional<ObjectState> object = {};  // the item before the change; none for a created folder
  bool hasSidecar = false;                 // the item's sidecar is moved, copied or deleted with it
};

// All functions are called on the thread of the run, one change after the other.
class ChangeObserver {
 public:
  ChangeObserver() = default;
  ChangeObserver(const ChangeObserver&) = delete;
  ChangeObserver& operator=(const ChangeObserver&) = delete;
  virtual ~ChangeObserver() = default;

  // Called before a change. If it returns another status than noErr, the change is not made, and
  // the operation fails with this status; neither of the two functions below is called.
  virtual Status BeforeChange(const Change& change) = 0;

  // Called after the change that was announced last. `result` is the object under its new path;
  // none for a deletion, and if the object is the recorded one, unchanged.
  virtual void AfterChange(const std::optional<ObjectState>& result) = 0;

  // Called if the change that was announced last was not made.
  virtual void AfterFailure(Status status) = 0;

  // Returns a UUID that belongs to the change that was announced last. The original of an item that
  // is moved to another filesystem is staged under the name "tessary-UUID" before it is deleted, so
  // that it can be found if the process is killed.
  virtual std::string StagingUuid() const = 0;

  // Makes durable what was recorded. Called before the original of an item is deleted that was
  // moved to another filesystem. If it fails, the original is not deleted and the move fails.
  virtual Status Sync() = 0;
};

// The observer; null for none. Owned by the program, which sets it.
inline constinit ChangeObserver* gChangeObserver = nullptr;

}  // namespace tessary
