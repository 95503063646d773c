#pragma once

#include <optional>
#include <string>

#include "platform/linux/operations/target.h"
#include "platform/managers/change_observer.h"

namespace tessary {

// The item of a change.
struct ChangedItem {
  uint32_t folder = 0;  // the number of the interned folder that holds it
  const Place& place;
  const Reference* reference = nullptr;  // the object that it must be; null for any
};

// A change that is announced to gChangeObserver, and its outcome. If there is no observer, all of
// it does nothing. A change that was announced and not concluded counts as failed on destruction.
class AnnouncedChange {
 public:
  AnnouncedChange() = default;
  AnnouncedChange(const AnnouncedChange&) = delete;
  AnnouncedChange& operator=(const AnnouncedChange&) = delete;
  ~AnnouncedChange() {
    // An exception has ended the operation.
    if (isOpen_) Fail(memFullErr);
  }

  // Announce a change. With an observer, the target's name is looked up first, so that an object
  // that existed before is never recorded as the result of a change. Return noErr; dupFNErr (the
  // name exists); fnfErr (the item is gone or another one has its name); the status of the
  // observer; otherwise what the filesystem reports. The change must not be made then.
  Status AnnounceFolder(const Target& target) {
    return gChangeObserver == nullptr
               ? noErr
               : Announce(ChangeKind::kFolderCreated, nullptr, &target, false);
  }
  Status AnnounceTransfer(ChangeKind kind, const ChangedItem& item, const Target& target,
                          bool hasSidecar) {
    return gChangeObserver == nullptr ? noErr : Announce(kind, &item, &target, hasSidecar);
  }
  Status AnnounceDeletion(const ChangedItem& item, bool hasSidecar) {
    return gChangeObserver == nullptr
               ? noErr
               : Announce(ChangeKind::kItemDeleted, &item, nullptr, hasSidecar);
  }

  // Concludes the change with the status of the operation, and returns that. `target` is null for a
  // deletion.
  Status Conclude(Status status, const Target* target) {
    if (isOpen_) ConcludeOpen(status, target);
    return status;
  }

  // Sets the name under which the original is staged, if the change was announced.
  void SetStagedName(CopySource* source) const;

 private:
  Status Announce(ChangeKind kind, const ChangedItem* item, const Target* target, bool hasSidecar);
  void ConcludeOpen(Status status, const Target* target);
  void Fail(Status status);

  bool isOpen_ = false;
  std::optional<ObjectState> object_;
};

}  // namespace tessary
