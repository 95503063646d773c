#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/catalog/temp_name.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

// Objects that are being made or unmade: they have no name, or a hidden one that no user's file
// has (platform/linux/catalog/temp_name.h). One whose maker died is recognised by the file lock
// that nobody holds any more, and swept (platform/linux/changes/temp_cleanup.h).
namespace tessary {

// A new hidden name. noErr, or ioErr when the system has no randomness to give.
Status MakeTempName(std::string* name);

// Locks the open object for this process, if nobody else has it. noErr; fBsyErr (somebody has);
// paramErr (the volume has no locks).
Status TryFileLock(int object);

// Owns an object that has no lasting name yet. Unless it is kept, everything of it is removed when
// the owner goes, also from under the name that it was published under.
class TempItem {
 public:
  TempItem() = default;
  TempItem(const TempItem&) = delete;
  TempItem& operator=(TempItem&& other) noexcept;
  ~TempItem();

  // Each makes an object in the folder open as `folder`, which stays open while the item lives, and
  // writes `*item` on success only. An unnamed file, which nobody else can open, with the
  // permissions of `mode` less the umask, its owner's own always; a file with a hidden name and
  // mode 0600; a folder of mode 0700. Files are open for reading and writing, folders for reading.
  // paramErr: the volume has no unnamed files. Otherwise noErr or what the file system reports.
  static Status MakeAnonymousFile(int folder, mode_t mode, TempItem* item);
  static Status MakeTempFile(int folder, TempItem* item);
  static Status MakeTempFolder(int folder, TempItem* item);

  // Takes the folder named (`folder`, `name`), open as `opened`, out of sight: under the lock and
  // by a hidden name. The item is kept from the start. noErr; fBsyErr (another program has locked
  // it); fnfErr (the name is not that of `opened`); else what the file system reports. On failure
  // the folder has its name.
  static Status StageForDeletion(int folder, const char* name, UniqueFd opened, TempItem* item);

  // The object that has just been published as (`folder`, `name`) by other means; open at least as
  // a path as `opened`.
  static TempItem AdoptPublished(int folder, const char* name, UniqueFd opened) {
    return TempItem(folder, name, std::move(opened));
  }

  int fd() const { return opened_.get(); }
  int folder() const { return folder_; }
  const std::string& name() const { return tempName_; }

  // Gives the object its name in the same folder, replacing nothing. The statuses are those of
  // RenameWithoutReplacing, for an unnamed file those of LinkOpenFile.
  Status Publish(const char* name);

  // Whether the published object still has a name, wherever somebody may have moved it.
  bool IsStillNamed() const;

  // From here on the object stays when the owner goes.
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
  std::string tempName_;       // empty for an unnamed file
  std::string publishedName_;  // empty until published
  bool isFolder_ = false;
  bool isKept_ = false;
};

}  // namespace tessary
