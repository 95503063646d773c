#include "tests/faults/two_filesystems.h"

#include <gtest/gtest.h>

#include "tests/support/file_operations.h"

namespace tessary::test {

TwoFilesystems::TwoFilesystems()
    : first_(inMemory_.path()), second_(mounted_.IsMounted() ? mounted_.path() : OnDisk()) {
  areDifferent_ = AreOnDifferentVolumes(first_, second_);
}

void RunOnTwoFolders(Soak* soak, unsigned rounds, FolderPlacement placement,
                     const TwoFoldersRound& round) {
  const TwoFilesystems filesystems;
  const bool isAcross = placement != FolderPlacement::kOneFilesystem;
  if (isAcross && !filesystems.AreDifferent()) GTEST_SKIP() << "there is only one filesystem";
  soak->Run(rounds, [&](SoakRandom& random) {
    const bool isOnDisk = placement == FolderPlacement::kTwoFilesystemsOrDisk && random.OneIn(8);
    const std::string& other = isOnDisk ? filesystems.OnDisk() : filesystems.second();
    const TemporaryFolder first(filesystems.first());
    const TemporaryFolder second(isAcross ? other : filesystems.first());
    round(first.path(), second.path(), random);
  });
}

}  // namespace tessary::test
