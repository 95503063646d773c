#pragma once

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/tree_lines.h"
#include "tests/support/volumes.h"

// The fixtures of the conformance table: every case runs on every filesystem that this machine can
// mount, within the filesystem and between it and a tmpfs, as a move and as a copy.
namespace tessary::test {

enum class Operation { kMove, kCopy };

struct TransferConfig {
  VolumeKind from = VolumeKind::kOwn;
  VolumeKind to = VolumeKind::kOwn;
  Operation operation = Operation::kMove;
};

const std::vector<TransferConfig>& AllTransferConfigs();

// The name of a config as part of a test's name: "ext4_move", "ext4_to_tmpfs_copy",
// "ext4_from_tmpfs_copy".
std::string NameOf(const TransferConfig& config);

// The name of a config in the printed table: "ext4 | move", "tmpfs to ext4 | copy".
std::string Describe(const TransferConfig& config);

// The filesystem of a kind. Mounted at the first call and kept until ReleaseSharedVolumes.
ScratchVolume& SharedVolume(VolumeKind kind);
void ReleaseSharedVolumes();

// A case of the table. Skipped if one of the filesystems is not available.
class Conformance : public testing::TestWithParam<TransferConfig> {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Skips the test unless the filesystems support the feature. Only for SetUp.
  void SkipUnless(bool isSupported, const char* feature) const;

  bool IsMove() const { return GetParam().operation == Operation::kMove; }
  bool IsCopy() const { return !IsMove(); }

  // True if the source and the destination folder have different device numbers.
  bool IsAcross() const;

  // True for a move within a filesystem.
  bool IsRename() const { return IsMove() && !IsAcross(); }

  // True if SealTestData puts the source into the lower layer of an overlay.
  bool IsSourceInLowerLayer() const { return SharedVolume(GetParam().from).HasLowerLayer(); }

  // The features that both filesystems have.
  const VolumeTraits& Traits() const { return traits_; }

  // A path in the source folder or the destination folder. Both are empty at first.
  std::string From(const std::string& name) const { return from_ + "/" + name; }
  std::string To(const std::string& name) const { return to_ + "/" + name; }
  const std::string& FromFolder() const { return from_; }
  const std::string& ToFolder() const { return to_; }

  // Makes the file "file" and the package "Tool.app", which contains the file "inner", in the
  // source folder.
  void MakeFileAndPackage() const;

  // Ends the creation of the test data: on an overlay with a lower layer, these are in that layer
  // from now on. The functions below call it. A test calls it itself before it makes a reference,
  // starts a thread, or reads what must not change.
  void SealTestData() const;

  // Moves or copies, as configured, an item of the source folder into the destination folder, under
  // its own name or a new one. Expects a valid reference to the target exactly on success.
  Status Transfer(const std::string& name, const std::string& newName = {});

  // Moves or copies any object into any folder.
  Status TransferTo(const std::string& path, const std::string& folder,
                    const std::string& newName = {});

  // Moves or copies by FSMoveObjectSync or FSCopyObjectSync, without the fast path.
  Status TransferRef(const FSRef& item, const FSRef& folder) const;

  // The aspects of an object that nobody has touched: all, except the inode number where it changes
  // by itself.
  TreeAspects UntouchedAspects() const;

  // The aspects of an item that a transfer must preserve.
  TreeAspects PreservedAspects() const;

  // Transfers an item. Expects that the target equals the original, and that the original is
  // deleted by a move and unchanged by a copy.
  void ExpectWholeTransfer(const std::string& name);
  void ExpectWholeTransferOfFileAndPackage();

  // Transfers an item. Expects the status and that neither folder has changed.
  void ExpectTransferError(const std::string& name, Status status, const std::string& newName = {});

  // One line per object in the source and the destination folder, with its identity.
  std::vector<std::string> DescribeBothFolders() const;

  // Runs the engine from the source folder into the destination folder, as a move or a copy as
  // configured, with these additional lines of settings. Returns the log messages.
  std::vector<std::string> RunEngine(const std::string& settings = {}) const;

  // Makes both folders accessible to all users.
  void OpenToEverybody() const;

  // Runs `body` in a child process as an ordinary user who owns everything in both folders. Fails
  // the test if an expectation in `body` fails.
  void AsOrdinaryUser(const std::function<void()>& body) const;

 private:
  std::optional<TemporaryFolder> fromScratch_;
  std::optional<TemporaryFolder> toScratch_;
  std::string from_;
  std::string to_;
  VolumeTraits traits_;
  NSAutoreleasePool pool_;
};

// The objects of MakeFileAndPackage.
inline constexpr std::array<const char*, 3> kFileAndPackage = {"file", "Tool.app",
                                                               "Tool.app/inner"};

// Cases that need a feature of both filesystems: symbolic links; links to any target; hard links;
// modes and owners.
class SymlinkConformance : public Conformance {
 protected:
  void SetUp() override;
};

class AnyTargetLinkConformance : public Conformance {
 protected:
  void SetUp() override;
};

class HardLinkConformance : public Conformance {
 protected:
  void SetUp() override;
};

class PermissionConformance : public Conformance {
 protected:
  void SetUp() override;
};

}  // namespace tessary::test
