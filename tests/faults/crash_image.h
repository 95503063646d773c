#pragma once

#include <string>

#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary::test {

// What a volume would be found to be if the power had failed now: a copy of its image, taken while
// it is mounted, and mounted elsewhere. Nothing that the kernel has not yet written is in it.
class CrashImage {
 public:
  // The volume stays as it is. Nobody may write to it meanwhile but the kernel.
  explicit CrashImage(const ScratchVolume& volume);
  ~CrashImage();
  CrashImage(const CrashImage&) = delete;
  CrashImage& operator=(const CrashImage&) = delete;

  // False, with the reason, where the copy could not be made or mounted.
  bool IsAvailable() const { return unavailableReason_.empty(); }
  const std::string& UnavailableReason() const { return unavailableReason_; }

  // What the volume's path was.
  const std::string& path() const { return path_; }

 private:
  TemporaryFolder scratch_;
  std::string unavailableReason_;
  std::string path_;
  bool isMounted_ = false;
};

// Has the volume behave from here on as one whose disk has been pulled out: what has not been
// written is lost. False where the file system does not know that.
bool ShutDown(const ScratchVolume& volume);

}  // namespace tessary::test
