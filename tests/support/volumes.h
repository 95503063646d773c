#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/support/volume_traits.h"

// Volumes of many kinds for tests to work on. What has to be mounted is mounted in a mount
// namespace that this process enters for it, so that nobody else sees it and nothing outlives the
// process.
namespace tessary::test {

enum class VolumeKind {
  kOwn,      // whatever the tests' temporary folder lies on
  kTmpfs,    // /dev/shm, or one that is mounted
  kExt4,     // from here on in an image over a loop device
  kXfs,      //
  kBtrfs,    //
  kExfat,    // by its FUSE driver
  kNtfs,     // by its FUSE driver
  kOverlay,  // over two folders in memory
  kBindfs,   // a FUSE driver that shows the folder below it
  kSshfs,    // another, which knows files by what names them and nothing of links
};

// All of them, in this order.
const std::vector<VolumeKind>& AllVolumeKinds();

// "ext4", "tmpfs"; of kOwn "own".
std::string NameOf(VolumeKind kind);

// A volume, ready for use while it lives. Where this machine or this user has no such volume to
// give, it is not there and tells why.
class ScratchVolume {
 public:
  // `options` are those of mount(8), such as "ro", where anything is mounted; `megabytes` is the
  // size of the image, of which only what is written takes room.
  explicit ScratchVolume(VolumeKind kind, const std::string& options = {}, int megabytes = 320);
  ~ScratchVolume();
  ScratchVolume(const ScratchVolume&) = delete;
  ScratchVolume& operator=(const ScratchVolume&) = delete;

  bool IsAvailable() const { return isAvailable_; }
  const std::string& UnavailableReason() const { return unavailableReason_; }

  VolumeKind kind() const { return kind_; }

  // A folder on the volume that is empty at first, and open to everybody.
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  // The image that the volume lies in; empty where there is none.
  const std::string& ImagePath() const { return image_; }

  // The name of the file system as the system tells it: of kOwn what it is here.
  std::string TypeName() const;

  const VolumeTraits& Traits() const { return traits_; }

 private:
  void Prepare(const std::string& options, int megabytes);
  bool SetUnavailable(const std::string& why);
  bool RunCommand(const std::vector<std::string>& command);
  bool CanMount();
  std::string MakeMountPoint() const;
  bool UseMountPoint(const std::string& mountPoint);
  bool PrepareTmpfs(const std::string& options);
  bool MakeImage(std::vector<std::string> maker, int megabytes);
  bool MountImage(const std::string& options);
  bool MountBindfs(const std::string& options);
  bool MountSshfs(const std::string& options);
  std::string MakeBackingFolder() const;
  bool MountOverlay(const std::string& options);
  bool StartFuseDriver(const std::vector<std::string>& command, const std::string& point);
  void Unmount();

  VolumeKind kind_;
  std::unique_ptr<TemporaryFolder> scratch_;  // the mount point, the image and what else it needs
  std::string mountPoint_;                    // empty where nothing is mounted
  std::string layers_;                        // where an overlay's folders lie
  std::string image_;
  std::string loopDevice_;  // where it is not the mount that lets it go
  pid_t driver_ = -1;
  std::string path_;
  bool isAvailable_ = false;
  std::string unavailableReason_;
  VolumeTraits traits_;
};

// Has this process mount for itself alone from here on. False, with the reason, where it may not.
// The first time, references that lead through interned folders designate nothing any more.
bool EnterMountNamespace(std::string* reason);

}  // namespace tessary::test
