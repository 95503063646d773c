#include "tests/faults/two_filesystems.h"

#include <gtest/gtest.h>

#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

void RunOnTwoFolders(Soak* soak, unsigned rounds, FolderPlacement placement,
                     const TwoFoldersRound& round) {
  const TemporaryFolder inMemory(MemoryFolder());
  const TemporaryFolder onDisk;
  const MemoryVolume mounted("size=512m");
  const std::string& other = mounted.IsMounted() ? mounted.path() : onDisk.path();
  const bool isAcross = placement != FolderPlacement::kOneFilesystem;
  if (isAcross && !AreOnDifferentVolumes(inMemory.path(), other)) {
    GTEST_SKIP() << "there is only one filesystem";
  }
  soak->Run(rounds, [&](SoakRandom& random) {
    const bool isOnDisk = placement == FolderPlacement::kTwoFilesystemsOrDisk && random.OneIn(8);
    const TemporaryFolder first(inMemory.path());
    const TemporaryFolder second(!isAcross ? inMemory.path() : isOnDisk ? onDisk.path() : other);
    round(first.path(), second.path(), random);
  });
}

}  // namespace tessary::test
