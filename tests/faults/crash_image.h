#pragma once

#include <string>

#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary::test {

// A mounted filesystem as it would be found if the power failed now: a copy of its image, mounted
// elsewhere, without anything that the kernel has not written yet.
class CrashImage {
 public:
  // Leaves `volume` unchanged. No process may write to it meanwhile; the kernel may.
  explicit CrashImage(const ScratchVolume& volume);
  ~CrashImage();
  CrashImage(const CrashImage&) = delete;
  CrashImage& operator=(const CrashImage&) = delete;

  // Returns false if the image could not be copied or mounted.
  bool IsAvailable() const { return unavailableReason_.empty(); }
  const std::string& UnavailableReason() const { return unavailableReason_; }

  // The folder that corresponds to the path of the volume.
  const std::string& path() const { return path_; }

 private:
  TemporaryFolder scratch_;
  std::string unavailableReason_;
  std::string path_;
  bool isMounted_ = false;
};

// Makes the filesystem behave as if its disk was removed: what has not been written is lost.
// Returns false where it does not support that.
bool ShutDown(const ScratchVolume& volume);

}  // namespace tessary::test
