#include "tests/faults/two_filesystems.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/faults/test_data.h"
#include "tests/support/cache_dropper.h"
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
    round({first.path(), second.path(), AllTraits()}, random);
  });
}

void RunOnVolume(Soak* soak, unsigned rounds, VolumeKind kind, const TwoFoldersRound& round) {
  ScratchVolume volume(kind);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  const TemporaryFolder inMemory(MemoryFolder());
  const VolumeTraits traits = CommonTraits(volume.Traits(), ProbeVolume(inMemory.path()));
  soak->Run(rounds, [&](SoakRandom& random) {
    const uint64_t inMemoryOnly = random.Below(3);
    {
      std::optional<CacheDropper> dropper;
      if (IsLongSoak() && random.OneIn(4)) dropper.emplace();
      const TemporaryFolder first(inMemoryOnly == 1 ? inMemory.path() : volume.path());
      const TemporaryFolder second(inMemoryOnly == 2 ? inMemory.path() : volume.path());
      round({first.path(), second.path(), traits, &volume}, random);
    }
    volume.StartOver();
  });
}

const std::vector<VolumeKind>& SoakedVolumeKinds() {
  static const std::vector<VolumeKind> kKinds = {VolumeKind::kExfat,   VolumeKind::kNtfs,
                                                 VolumeKind::kSshfs,   VolumeKind::kMergerfs,
                                                 VolumeKind::kOverlay, VolumeKind::kOverlayLower};
  return kKinds;
}

}  // namespace tessary::test
