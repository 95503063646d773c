#pragma once

#include <functional>
#include <string>

#include "tests/support/soak.h"
#include "tests/support/volume_traits.h"
#include "tests/support/volumes.h"

namespace tessary::test {

enum class FolderPlacement {
  kOneFilesystem,
  kTwoFilesystems,
  kTwoFilesystemsOrDisk,  // in some rounds the second folder is on the disk, which is slower
};

// The folders of a round, empty at first.
struct TwoFolders {
  std::string first;
  std::string second;
  VolumeTraits traits;              // what the filesystems of both support
  ScratchVolume* volume = nullptr;  // if at least one of them is on a filesystem made for the test

  // To be called when the test data are complete; see ScratchVolume::SealLowerLayer.
  void Seal() const {
    if (volume != nullptr) volume->SealLowerLayer();
  }
};

// Runs a soak test whose rounds get two empty folders, if possible in memory. Skips the test if
// this user may write to one filesystem only and the placement needs two.
using TwoFoldersRound = std::function<void(const TwoFolders& folders, SoakRandom& random)>;
void RunOnTwoFolders(Soak* soak, unsigned rounds, FolderPlacement placement,
                     const TwoFoldersRound& round);

// The same on a filesystem of this kind: one of the folders is on it, the other one in memory; or
// both are on it. In a long soak, the kernel's caches are dropped during some rounds. Skips the
// test if the filesystem is not available.
void RunOnVolume(Soak* soak, unsigned rounds, VolumeKind kind, const TwoFoldersRound& round);

// The kinds of filesystems for RunOnVolume that differ from those in memory.
const std::vector<VolumeKind>& SoakedVolumeKinds();

}  // namespace tessary::test
