#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/support/memory_volume.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// Scratch folders in up to three filesystems to which this user may write.
class TwoFilesystems {
 public:
  TwoFilesystems();

  // Returns whether first() and second() are in different filesystems.
  bool AreDifferent() const { return areDifferent_; }

  // In memory, if possible.
  const std::string& first() const { return first_; }

  // In another filesystem in memory if this process may mount one, otherwise on the disk.
  const std::string& second() const { return second_; }

  // On the disk, where everything takes longer.
  const std::string& OnDisk() const { return onDisk_.path(); }

 private:
  TemporaryFolder onDisk_;
  MemoryVolume mounted_ = MemoryVolume("size=512m");
  TemporaryFolder inMemory_ = TemporaryFolder(MemoryFolder());
  std::string first_;
  std::string second_;
  bool areDifferent_ = false;
};

enum class FolderPlacement {
  kOneFilesystem,
  kTwoFilesystems,
  kTwoFilesystemsOrDisk,  // in some rounds, the second folder is on the disk
};

// Runs a soak test whose rounds get two empty folders. Skips the test where they cannot be placed
// so.
using TwoFoldersRound =
    std::function<void(const std::string& first, const std::string& second, SoakRandom& random)>;
void RunOnTwoFolders(Soak* soak, unsigned rounds, FolderPlacement placement,
                     const TwoFoldersRound& round);

}  // namespace tessary::test
