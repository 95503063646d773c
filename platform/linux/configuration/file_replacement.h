#pragma once

#include <optional>
#include <string>

#include "platform/linux/configuration/stamped_file.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

namespace tessary {

// Replaces the contents of one file atomically: readers see the old or the new contents. Programs
// that use this class exclude each other by a lock, so that none loses a change of another.
//
// The new contents are written to ".NAME.new" beside the target, and the lock is held on that file.
// So there is no lock file to remove after the rename onto the target, and a file that a crash left
// is reused by the next writer.
class FileReplacement {
 public:
  FileReplacement() = default;
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // Resolves the symbolic links at the absolute path `path` to the target, which may be missing,
  // and waits up to five seconds for its lock. Called once. Returns noErr, fBsyErr (another process
  // holds the lock), afpAccessDenied (also for a write-protected target), paramErr (the target is
  // not a regular file), fnfErr (its folder is missing), otherwise the status of the filesystem.
  Status Begin(const std::string& path);

  // The path of the target, valid after Begin() succeeded. Callers read the target again under the
  // lock, because it may have changed while they waited.
  const std::string& target() const { return target_; }

  // Replaces the target by a file with the contents `text` and the mode, owner, access list and
  // user attributes of the target, or with mode 0600 if there is no target. The contents are
  // durable before the rename. `expected` is the stamp that the target must have; none if it must
  // not exist. Returns noErr; fBsyErr if the target has another stamp, and the call may be
  // repeated; otherwise the status of the filesystem. The target is unchanged after a failure.
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
