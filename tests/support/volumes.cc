#include "tests/support/volumes.h"

#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/volume.h"
#include "tests/support/tool.h"

namespace tessary::test {
namespace {

constexpr char kMemory[] = "/dev/shm";

namespace fs = std::filesystem;

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

bool IsTmpfs(const std::string& path) {
  struct statfs info = {};
  return statfs(path.c_str(), &info) == 0 && info.f_type == TMPFS_MAGIC;
}

// Returns false as long as `path` cannot be accessed, as while a driver starts.
bool IsOnOtherVolume(const std::string& path, const std::string& parent) {
  struct stat info = {};
  struct stat parentInfo = {};
  return stat(path.c_str(), &info) == 0 && stat(parent.c_str(), &parentInfo) == 0 &&
         info.st_dev != parentInfo.st_dev;
}

struct KindProperties {
  VolumeKind kind;
  const char* name;
  // Creates the filesystem in the image that follows as the last argument. Empty without an image.
  std::vector<std::string> mkfsCommand = {};
};

// In the order of VolumeKind.
const std::vector<KindProperties>& Kinds() {
  static const std::vector<KindProperties> kKinds = {
      {VolumeKind::kOwn, "own"},
      {VolumeKind::kTmpfs, "tmpfs"},
      {VolumeKind::kExt4, "ext4", {"mkfs.ext4", "-q", "-F"}},
      {VolumeKind::kXfs, "xfs", {"mkfs.xfs", "-q", "-f"}},
      {VolumeKind::kBtrfs, "btrfs", {"mkfs.btrfs", "-q", "-f"}},
      {VolumeKind::kExfat, "exfat", {"mkfs.exfat"}},
      {VolumeKind::kNtfs, "ntfs", {"mkntfs", "-q", "-Q", "-F"}},
      {VolumeKind::kOverlay, "overlay"},
      {VolumeKind::kBindfs, "bindfs"},
      {VolumeKind::kSshfs, "sshfs"},
      {VolumeKind::kMergerfs, "mergerfs"},
      {VolumeKind::kMergerfsByPath, "mergerfsbypath"},
      {VolumeKind::kOverlayLower, "overlaylower"},
      {VolumeKind::kOverlayLowerFs, "overlaylowerfs"},
  };
  return kKinds;
}

// A new filesystem may have the device number of one that was unmounted.
void ForgetDevices() {
  ForgetVolumes();
  ForgetProbeResults();
}

// Folders that the catalog holds open are on the filesystem that was visible before.
void ForgetCatalog() {
  Catalog::Get().folders().ReleaseTo(0);
  ForgetDevices();
}

const KindProperties& PropertiesOf(VolumeKind kind) {
  return Kinds().at(static_cast<size_t>(kind));
}

}  // namespace

std::vector<VolumeKind> AllVolumeKinds() {
  std::vector<VolumeKind> kinds;
  for (const KindProperties& each : Kinds()) kinds.push_back(each.kind);
  return kinds;
}

std::string NameOf(VolumeKind kind) { return PropertiesOf(kind).name; }

bool EnterMountNamespace(std::string* reason) {
  static int gError = -1;
  if (gError < 0) {
    const bool isEntered =
        unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    gError = isEntered ? 0 : errno;
    // Folders that the catalog holds open belong to the old namespace, in which later mounts are
    // not visible.
    Catalog::Get().folders().ReleaseTo(0);
  }
  if (gError != 0) *reason = std::string("no mount namespace: ") + std::strerror(gError);
  return gError == 0;
}

ScratchVolume::ScratchVolume(VolumeKind kind, const std::string& options, int megabytes)
    : kind_(kind), scratch_(std::make_unique<TemporaryFolder>()) {
  Prepare(options, megabytes);
  ForgetDevices();
  if (!isAvailable_) {
    Unmount();
    return;
  }
  // mkdtemp(3) gives only the owner access.
  (void)chmod(scratch_->path().c_str(), 0777);
  // Probing writes.
  if (access(path_.c_str(), W_OK) != 0) return;
  SealLowerLayer();
  traits_ = ProbeVolume(path_);
  StartOver();
}

ScratchVolume::~ScratchVolume() { Unmount(); }

void ScratchVolume::Prepare(const std::string& options, int megabytes) {
  switch (kind_) {
    case VolumeKind::kOwn:
      path_ = scratch_->path();
      isAvailable_ = true;
      return;
    case VolumeKind::kTmpfs:
      isAvailable_ = PrepareTmpfs(options);
      return;
    case VolumeKind::kOverlay:
      isAvailable_ = MountOverlay(options);
      return;
    case VolumeKind::kBindfs:
      isAvailable_ = MountBindfs(options);
      return;
    case VolumeKind::kSshfs:
      isAvailable_ = MountSshfs(options);
      return;
    case VolumeKind::kMergerfs:
      isAvailable_ = MountMergerfs(options);
      return;
    case VolumeKind::kMergerfsByPath:
      isAvailable_ = MountMergerfs("use_ino,inodecalc=path-hash");
      return;
    case VolumeKind::kOverlayLower:
    case VolumeKind::kOverlayLowerFs:
      isAvailable_ = ShowLowerLayer();
      return;
    default:
      isAvailable_ = MakeImage(PropertiesOf(kind_).mkfsCommand, megabytes) && MountImage(options);
  }
}

bool ScratchVolume::SetUnavailable(const std::string& why) {
  unavailableReason_ = FirstLine(why);
  return false;
}

bool ScratchVolume::RunCommand(const std::vector<std::string>& command) {
  const ToolResult result = RunTool(command);
  if (result.status == 0) return true;
  if (result.status == 127) return SetUnavailable(command[0] + " is not installed");
  return SetUnavailable(command[0] + ": " + result.output);
}

bool ScratchVolume::CanMount() { return EnterMountNamespace(&unavailableReason_); }

std::string ScratchVolume::MakeMountPoint() const {
  const std::string point = *scratch_ / "mount";
  MakeFolder(point);
  return point;
}

// Tests work in a folder of the filesystem, as the root may contain other files, such as
// "lost+found".
bool ScratchVolume::UseMountPoint(const std::string& mountPoint) {
  mountPoint_ = mountPoint;
  path_ = mountPoint + "/work";
  // In a read-only filesystem, the root is used.
  if (mkdir(path_.c_str(), 0777) != 0) path_ = mountPoint;
  (void)chmod(path_.c_str(), 0777);
  return true;
}

bool ScratchVolume::PrepareTmpfs(const std::string& options) {
  if (options.empty() && IsTmpfs(kMemory) && access(kMemory, W_OK) == 0) {
    scratch_ = std::make_unique<TemporaryFolder>(kMemory);
    path_ = scratch_->path();
    return true;
  }
  if (!CanMount()) return false;
  const std::string point = MakeMountPoint();
  const std::string wanted = options.empty() ? "mode=0777" : options;
  return RunCommand({"mount", "-t", "tmpfs", "-o", wanted, "tmpfs", point}) && UseMountPoint(point);
}

bool ScratchVolume::MakeImage(std::vector<std::string> mkfsCommand, int megabytes) {
  if (!CanMount()) return false;
  image_ = *scratch_ / "image";
  WriteFile(image_);
  if (truncate(image_.c_str(), static_cast<off_t>(megabytes) << 20) != 0) {
    return SetUnavailable(std::string("cannot extend the image: ") + std::strerror(errno));
  }
  mkfsCommand.push_back(image_);
  return RunCommand(mkfsCommand);
}

bool ScratchVolume::MountImage(const std::string& options) {
  const std::string point = MakeMountPoint();
  if (kind_ != VolumeKind::kExfat && kind_ != VolumeKind::kNtfs) {
    const std::string wanted = options.empty() ? "loop" : "loop," + options;
    return RunCommand({"mount", "-t", NameOf(kind_), "-o", wanted, image_, point}) &&
           UseMountPoint(point);
  }
  // On a device, unlike on an image file, these drivers behave as for a disk that a user plugs in.
  const ToolResult device = RunTool({"losetup", "--find", "--show", image_});
  if (device.status != 0) return SetUnavailable("losetup: " + device.output);
  loopDevice_ = FirstLine(device.output);
  const std::string wanted = options.empty() ? "allow_other" : "allow_other," + options;
  const std::vector<std::string> driver =
      kind_ == VolumeKind::kExfat
          ? std::vector<std::string>{"mount.exfat-fuse", "-d", "-o", wanted, loopDevice_, point}
          : std::vector<std::string>{"ntfs-3g", "-o", "no_detach," + wanted, loopDevice_, point};
  if (!StartFuseDriver(driver, point)) return false;
  // From now on the device is detached when the driver closes it, even if this process is killed.
  if (RunTool({"losetup", "--detach", loopDevice_}).status == 0) loopDevice_.clear();
  return true;
}

bool ScratchVolume::MountBindfs(const std::string& options) {
  if (!CanMount()) return false;
  const std::string below = MakeBackingFolder();
  const std::string point = MakeMountPoint();
  std::vector<std::string> command = {"bindfs", "-f"};
  if (!options.empty()) command.insert(command.end(), {"-o", options});
  command.insert(command.end(), {below, point});
  return StartFuseDriver(command, point);
}

// sshfs starts the server itself, on this machine and without a network.
bool ScratchVolume::MountSshfs(const std::string& options) {
  constexpr char kServer[] = "/usr/lib/openssh/sftp-server";
  if (!CanMount()) return false;
  if (access(kServer, X_OK) != 0) return SetUnavailable(std::string(kServer) + " is not installed");
  const std::string starter = *scratch_ / "starter";
  WriteFile(starter, std::string("#!/bin/sh\nexec ") + kServer + "\n");
  (void)chmod(starter.c_str(), 0755);
  const std::string point = MakeMountPoint();
  std::string wanted = "allow_other,default_permissions,ssh_command=" + starter;
  if (!options.empty()) wanted += "," + options;
  return StartFuseDriver({"sshfs", "-f", "-o", wanted, "here:" + MakeBackingFolder(), point},
                         point);
}

// Creates a folder that a driver without an image shows.
std::string ScratchVolume::MakeBackingFolder(const std::string& name) const {
  const std::string below = *scratch_ / name;
  MakeFolder(below);
  (void)chmod(below.c_str(), 0777);
  return below;
}

// The default policy creates everything in one of the two folders. Policies that use both change
// the dates of folders at every look.
bool ScratchVolume::MountMergerfs(const std::string& options) {
  if (!CanMount()) return false;
  const std::string folders = MakeBackingFolder("below") + ":" + MakeBackingFolder("beside");
  const std::string point = MakeMountPoint();
  std::string wanted = "allow_other,minfreespace=0";
  if (!options.empty()) wanted += "," + options;
  return StartFuseDriver({"mergerfs", "-f", "-o", wanted, folders, point}, point);
}

// The layers are in a tmpfs, as the temporary folder may itself be on an overlay.
bool ScratchVolume::MakeLayers() {
  const std::string layers = *scratch_ / ("layers" + std::to_string(layers_.size()));
  MakeFolder(layers);
  if (!RunCommand({"mount", "-t", "tmpfs", "-o", "mode=0777", "tmpfs", layers})) return false;
  layers_.push_back(layers);
  return true;
}

bool ScratchVolume::MountOverlay(const std::string& options) {
  if (!CanMount() || !MakeLayers()) return false;
  const std::string lower = layers_.front() + "/lower";
  MakeFolder(lower);
  mountPoint_ = MakeMountPoint();
  return MountOver(lower, options) && UseMountPoint(mountPoint_);
}

// Mounts an overlay, with new folders for what is written to it, at the mount point.
bool ScratchVolume::MountOver(const std::string& lower, const std::string& options) {
  std::string wanted = "lowerdir=" + lower;
  for (const std::string layer : {"upper", "work"}) {
    const std::string path = layers_.front() + "/" + layer + std::to_string(seals_);
    MakeFolder(path);
    wanted += "," + layer + "dir=" + path;
  }
  ++seals_;
  if (!options.empty()) wanted += "," + options;
  return RunCommand({"mount", "-t", "overlay", "-o", wanted, "overlay", mountPoint_});
}

// Mounts the lower layer itself, to be filled.
bool ScratchVolume::ShowLowerLayer() {
  if (!CanMount() || !MakeLayers()) return false;
  if (kind_ == VolumeKind::kOverlayLowerFs && !MakeLayers()) return false;
  lower_ = layers_.back() + "/lower";
  MakeFolder(lower_);
  const std::string point = MakeMountPoint();
  return RunCommand({"mount", "--bind", lower_, point}) && UseMountPoint(point);
}

void ScratchVolume::SealLowerLayer() {
  if (lower_.empty() || isSealed_) return;
  isSealed_ = MountOver(lower_, "");
  EXPECT_TRUE(isSealed_) << unavailableReason_;
  ForgetCatalog();
}

void ScratchVolume::StartOver() {
  if (!isSealed_) return;
  // Detached, as a descriptor on it may still be open. For the same reason, the next overlay gets
  // new folders.
  EXPECT_EQ(0, umount2(mountPoint_.c_str(), MNT_DETACH)) << mountPoint_;
  isSealed_ = false;
  for (const std::string& name : NamesIn(path_)) fs::remove_all(path_ + "/" + name);
  for (const std::string layer : {"upper", "work"}) {
    fs::remove_all(layers_.front() + "/" + layer + std::to_string(seals_ - 1));
  }
  ForgetCatalog();
}

bool ScratchVolume::StartFuseDriver(const std::vector<std::string>& command,
                                    const std::string& point) {
  driver_ = StartTool(command);
  constexpr int kTries = 500;
  for (int i = 0; i < kTries; ++i) {
    if (IsOnOtherVolume(point, scratch_->path())) return UseMountPoint(point);
    int status = 0;
    if (waitpid(driver_, &status, WNOHANG) == driver_) {
      driver_ = -1;
      const bool isMissing = WIFEXITED(status) && WEXITSTATUS(status) == 127;
      return SetUnavailable(command[0] + (isMissing ? " is not installed" : " could not mount"));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  mountPoint_ = point;
  return SetUnavailable(command[0] + " took too long");
}

void ScratchVolume::Unmount() {
  StartOver();
  // Detached, as a descriptor on it may still be open.
  if (!mountPoint_.empty()) umount2(mountPoint_.c_str(), MNT_DETACH);
  for (const std::string& layers : layers_) umount2(layers.c_str(), MNT_DETACH);
  if (driver_ > 0) {
    if (mountPoint_.empty()) kill(driver_, SIGTERM);
    waitpid(driver_, nullptr, 0);
  }
  if (!loopDevice_.empty()) (void)RunTool({"losetup", "--detach", loopDevice_});
  mountPoint_.clear();
  layers_.clear();
  loopDevice_.clear();
  driver_ = -1;
}

std::string ScratchVolume::TypeName() const {
  if (kind_ != VolumeKind::kOwn) return NameOf(kind_);
  const ToolResult result = RunTool({"stat", "--file-system", "--format=%T", path_});
  const std::string type = result.status == 0 ? FirstLine(result.output) : "own";
  return type == "ext2/ext3" ? "ext4" : type;
}

}  // namespace tessary::test
