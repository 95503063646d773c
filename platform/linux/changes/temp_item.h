#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/catalog/temp_name.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

// Files and folders that are being created or deleted. They have no name, or a temporary one that
// no user's file has (platform/linux/catalog/temp_name.h) and whose file lock their process holds.
// If the lock is free, the process has crashed and the item is stale: recovery deletes it
// (temp_cleanup.h).
namespace tessary {

// Makes a new temporary name. Returns noErr, or ioErr if the system provides no random bytes.
Status MakeTempName(std::string* name);

// Acquires the exclusive flock(2) of an open object without waiting. Returns noErr; fBsyErr
// (another open file description has a lock); paramErr (the filesystem has no locks).
Status TryFileLock(int object);

// Owns an object that has no permanent name yet. On destruction everything of it is removed, also
// under the name that it was published under, unless it is kept.
class TempItem {
 public:
  TempItem() = default;
  TempItem(const TempItem&) = delete;
  TempItem& operator=(TempItem&& other) noexcept;
  ~TempItem();

  // Create an object in the folder open as `folder`, which must stay open while the item exists.
  // An anonymous file (O_TMPFILE) has the permissions of `mode` minus the umask, and always those
  // of its owner to read and write; a temporary file has mode 0600, a temporary folder 0700. Files
  // are open for reading and writing, folders for reading. Return noErr; paramErr (the filesystem
  // has no anonymous files); otherwise what the filesystem reports. `*item` is written on success
  // only.
  static Status MakeAnonymousFile(int folder, mode_t mode, TempItem* item);
  static Status MakeTempFile(int folder, TempItem* item);
  static Status MakeTempFolder(int folder, TempItem* item);

  // Stages a folder for deletion: locks the folder (`folder`, `name`), which is open as `opened`,
  // and renames it to a temporary name. The item is kept: it is not removed on destruction. Returns
  // noErr; fBsyErr (another process has locked it); fnfErr (the name is not that of `opened`);
  // otherwise what the filesystem reports. On failure the folder has its name.
  static Status StageForDeletion(int folder, const char* name, UniqueFd opened, TempItem* item);

  // Owns an object that has just been published as (`folder`, `name`) by other means, and is open
  // as `opened`, if only as a path.
  static TempItem AdoptPublished(int folder, const char* name, UniqueFd opened) {
    return TempItem(folder, name, std::move(opened));
  }

  int fd() const { return opened_.get(); }
  int folder() const { return folder_; }
  const std::string& name() const { return tempName_; }

  // Gives the object its permanent name in the same folder, replacing nothing. Returns the statuses
  // of RenameWithoutReplacing, or for an anonymous file those of LinkOpenFile.
  Status Publish(const char* name);

  // Gives an anonymous file its permanent name in another folder of its filesystem, which must stay
  // open while the item exists. Returns the statuses of LinkOpenFile.
  Status PublishIn(int folder, const char* name) {
    folder_ = folder;
    return Publish(name);
  }

  // Returns true if the published object still has a name, even if another process has renamed it.
  bool IsStillNamed() const;

  // Leaves the object on destruction.
  void Keep() { isKept_ = true; }

 private:
  TempItem(int folder, const char* publishedName, UniqueFd opened)
      : folder_(folder), opened_(std::move(opened)), publishedName_(publishedName) {}
  static Status TryMakeWithTempName(int folder, bool isFolder, TempItem* item);
  static Status MakeWithTempName(int folder, bool isFolder, TempItem* item);
  void Remove();
  bool IsOurs(const std::string& name) const;
  Status RenameToTempName(const char* name, const std::string& tempName);

  int folder_ = -1;
  UniqueFd opened_;
  std::string tempName_;       // empty for an anonymous file
  std::string publishedName_;  // empty until published
  bool isFolder_ = false;
  bool isKept_ = false;
};

}  // namespace tessary
