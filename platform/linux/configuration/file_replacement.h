#pragma once

#include <optional>
#include <string>

#include "platform/linux/configuration/stamped_file.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

namespace tessary {

// Replaces the contents of one file so that whoever reads it sees the old or the new whole, and
// that programs which replace it by this class wait for each other and lose nothing of each
// other's.
//
// The new contents are gathered in a file ".NAME.new" beside the target, which bears the lock as
// well: it leaves nothing behind when it is renamed onto the target, and one that a crash left is
// taken over by the next writer.
class FileReplacement {
 public:
  FileReplacement() = default;
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // Finds the target, which is what the symbolic links at `path`, an absolute one, lead to, there
  // or not, and waits some seconds for its lock. Called once. noErr, fBsyErr (the lock is held by
  // another), afpAccessDenied (also for a target that is write-protected), paramErr (the target is
  // no file), fnfErr (its folder is missing), else what the file system reports.
  Status Begin(const std::string& path);

  // The path of the target itself; to be read again once Begin has succeeded.
  const std::string& target() const { return target_; }

  // Puts a file with the contents in the target's place, with its mode, owner, access list and user
  // attributes, or with mode 0600 where there was none; it is on the disk before it bears its name.
  // `expected` is the stamp that the target must have, none where it must not be there. noErr;
  // fBsyErr when it has another, and the call may be repeated; else what the file system reports.
  // On failure the target is as it was.
  Status Commit(const std::string& text, const std::optional<FileStamp>& expected);

 private:
  Status Lock();
  Status TryLock(bool* isHeld);
  Status WriteContents(const std::string& text);
  Status CopyTargetMetadata();
  bool IsTargetUnchanged(const std::optional<FileStamp>& expected) const;

  std::string target_;
  std::string name_;
  std::string newName_;
  UniqueFd folder_;
  UniqueFd newFile_;  // locked while it is open
};

}  // namespace tessary
