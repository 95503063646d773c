#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/support/volume_traits.h"

// Filesystems of many kinds for tests. They are mounted in a mount namespace of this process, so
// that no other process sees them and none outlives it.
namespace tessary::test {

enum class VolumeKind {
  kOwn,             // that of the tests' temporary folder
  kTmpfs,           // /dev/shm, or one mounted for the test
  kExt4,            // this and the next four: in an image on a loop device
  kXfs,             //
  kBtrfs,           //
  kExfat,           // by its FUSE driver
  kNtfs,            // by its FUSE driver
  kOverlay,         // over two folders in memory
  kBindfs,          // a FUSE driver that shows another folder
  kSshfs,           // a FUSE driver that identifies files by path and shows no hard links
  kMergerfs,        // a FUSE driver that shows two folders as one
  kMergerfsByPath,  // the same, with inode numbers that are made of the paths
  kOverlayLower,    // an overlay over what has been created before SealLowerLayer
  kOverlayLowerFs,  // the same, with the lower layer on another filesystem
};

// All kinds, in this order.
std::vector<VolumeKind> AllVolumeKinds();

// "ext4", "tmpfs", "own".
std::string NameOf(VolumeKind kind);

// A filesystem that is mounted until it is destroyed. Not available where this machine lacks the
// tools or this user the rights.
class ScratchVolume {
 public:
  // `options` are those of mount(8), such as "ro". `megabytes` is the size of the image, a sparse
  // file.
  explicit ScratchVolume(VolumeKind kind, const std::string& options = {}, int megabytes = 320);
  ~ScratchVolume();
  ScratchVolume(const ScratchVolume&) = delete;
  ScratchVolume& operator=(const ScratchVolume&) = delete;

  bool IsAvailable() const { return isAvailable_; }
  const std::string& UnavailableReason() const { return unavailableReason_; }

  VolumeKind kind() const { return kind_; }

  // A folder in the filesystem, at first empty, in which everybody may write.
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  // The path of the folder that bindfs or sshfs shows as path(). Changes in it are those of another
  // machine.
  std::string BackingPath() const { return *scratch_ / "below/work"; }

  // The path of the image, or empty.
  const std::string& ImagePath() const { return image_; }

  // The name of the filesystem; for kOwn, that of the actual one.
  std::string TypeName() const;

  const VolumeTraits& Traits() const { return traits_; }

  // Makes everything in the filesystem the lower layer of an overlay, which is mounted over it
  // until StartOver. Has no effect on kinds without a lower layer or if it is already sealed.
  // References that depend on interned folders become invalid.
  void SealLowerLayer();

  bool HasLowerLayer() const { return !lower_.empty(); }

  // Empties a filesystem that has been sealed, so that its lower layer can be filled again.
  void StartOver();

 private:
  void Prepare(const std::string& options, int megabytes);
  bool SetUnavailable(const std::string& why);
  bool RunCommand(const std::vector<std::string>& command);
  bool CanMount();
  std::string MakeMountPoint() const;
  bool UseMountPoint(const std::string& mountPoint);
  bool PrepareTmpfs(const std::string& options);
  bool MakeImage(std::vector<std::string> mkfsCommand, int megabytes);
  bool MountImage(const std::string& options);
  bool MountBindfs(const std::string& options);
  bool MountSshfs(const std::string& options);
  std::string MakeBackingFolder(const std::string& name = "below") const;
  bool MountMergerfs(const std::string& options);
  bool MakeLayers();
  bool MountOverlay(const std::string& options);
  bool ShowLowerLayer();
  bool MountOver(const std::string& lower, const std::string& options);
  bool StartFuseDriver(const std::vector<std::string>& command, const std::string& point);
  void Unmount();

  VolumeKind kind_;
  std::unique_ptr<TemporaryFolder> scratch_;  // holds the mount point, the image and other files
  std::string mountPoint_;                    // empty if nothing is mounted
  std::vector<std::string> layers_;           // mount points for an overlay's folders
  std::string lower_;                         // the lower layer that SealLowerLayer covers
  bool isSealed_ = false;
  int seals_ = 0;
  std::string image_;
  std::string loopDevice_;  // if this object has to detach it
  pid_t driver_ = -1;
  std::string path_;
  bool isAvailable_ = false;
  std::string unavailableReason_;
  VolumeTraits traits_;
};

// Moves this process into its own mount namespace, once. Returns false, with the reason, where that
// is not permitted. The first time, references that depend on interned folders become invalid.
bool EnterMountNamespace(std::string* reason);

}  // namespace tessary::test
