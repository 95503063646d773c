#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/tree_lines.h"
#include "tests/support/volumes.h"

// The config of the conformance table: every case is tried on every volume that is to be had here,
// within it and between it and another, by moving and by copying.
namespace tessary::test {

enum class Operation { kMove, kCopy };

struct TransferConfig {
  VolumeKind from = VolumeKind::kOwn;
  VolumeKind to = VolumeKind::kOwn;
  Operation operation = Operation::kMove;
};

// All of them. Between two volumes, the other one is a tmpfs.
const std::vector<TransferConfig>& AllTransferConfigs();

// The name of a config as part of a test's name: "ext4_move", "ext4_to_tmpfs_copy",
// "ext4_from_tmpfs_copy".
std::string NameOf(const TransferConfig& config);

// The same for people: "ext4 | move", "tmpfs to ext4 | copy".
std::string Describe(const TransferConfig& config);

// The volume of a kind, mounted when it is first asked for and kept until the program ends.
ScratchVolume& SharedVolume(VolumeKind kind);
void ReleaseSharedVolumes();

// A case of the table. Skips where the machine does not have the volumes.
class Conformance : public testing::TestWithParam<TransferConfig> {
 protected:
  void SetUp() override;

  bool IsMove() const { return GetParam().operation == Operation::kMove; }
  bool IsCopy() const { return !IsMove(); }

  // Between two volumes, as the kernel sees it.
  bool IsAcross() const;

  // A move that is a renaming.
  bool IsRenaming() const { return IsMove() && !IsAcross(); }

  // What both volumes hold.
  const VolumeTraits& Traits() const { return traits_; }

  // A path in the source folder and in the destination folder, which begin empty.
  std::string From(const std::string& name) const { return from_ + "/" + name; }
  std::string To(const std::string& name) const { return to_ + "/" + name; }
  const std::string& FromFolder() const { return from_; }
  const std::string& ToFolder() const { return to_; }

  // Moves or copies the item of the source folder into the destination folder, under its own name
  // or a new one, as the config has it. Expects that no descriptor is left open.
  Status Transfer(const std::string& name, const std::string& newName = {});

  // The same of any object into any folder.
  Status TransferTo(const std::string& path, const std::string& folder,
                    const std::string& newName = {});

  // What is to be the same of an item before and after.
  TreeAspects PreservedAspects() const;

  // Transfers an item and expects that it arrives as it was, and that the original is gone or
  // untouched, as the operation has it.
  void ExpectWholeTransfer(const std::string& name);

  // Transfers an item and expects that it is refused with the status and that neither folder has
  // changed.
  void ExpectTransferError(const std::string& name, Status status, const std::string& newName = {});

  // DescribeBothFolders in the source and the destination folder, with what identifies it.
  std::vector<std::string> DescribeBothFolders() const;

  // Runs the engine from the source folder into the destination folder, moving or copying as the
  // config has it, with these lines of settings besides. The messages of the log.
  std::vector<std::string> RunEngine(const std::string& settings = {}) const;

  // Lets everybody reach both folders.
  void OpenToEverybody() const;

  // Runs `body` in a child process as an ordinary user who owns everything in both folders. Fails
  // the test where anything fails in it.
  void AsOrdinaryUser(const std::function<void()>& body) const;

 private:
  std::optional<TemporaryFolder> fromScratch_;
  std::optional<TemporaryFolder> toScratch_;
  std::string from_;
  std::string to_;
  VolumeTraits traits_;
  NSAutoreleasePool pool_;
};

}  // namespace tessary::test
