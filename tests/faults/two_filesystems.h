#pragma once

#include <functional>
#include <string>

#include "tests/support/soak.h"

namespace tessary::test {

enum class FolderPlacement {
  kOneFilesystem,
  kTwoFilesystems,
  kTwoFilesystemsOrDisk,  // in some rounds the second folder is on the disk, which is slower
};

// Runs a soak test whose rounds get two empty folders, if possible in memory. Skips the test if
// this user may write to one filesystem only and the placement needs two.
using TwoFoldersRound =
    std::function<void(const std::string& first, const std::string& second, SoakRandom& random)>;
void RunOnTwoFolders(Soak* soak, unsigned rounds, FolderPlacement placement,
                     const TwoFoldersRound& round);

}  // namespace tessary::test
