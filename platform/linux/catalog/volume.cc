#include "platform/linux/catalog/volume.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <utility>

#include "platform/linux/descriptors/proc_fd_path.h"
#include "platform/linux/mac_formats/date_forms.h"
#include "platform/managers/text.h"
#include "platform/managers/utf16.h"

namespace tessary {
namespace {

// <linux/magic.h> of older kernels lacks some of these.
constexpr uint32_t kExfatMagic = 0x2011BAB0;
constexpr uint32_t kNtfsMagic = 0x5346544E;
constexpr uint32_t kNtfs3Magic = 0x7366746E;
constexpr uint32_t kCifsMagic = 0xFF534D42;
constexpr uint32_t kSmb2Magic = 0xFE534D42;
constexpr uint32_t kVboxMagic = 0x786F4256;

bool HasReliableEntries(uint32_t magic) {
  switch (magic) {
    case EXT4_SUPER_MAGIC:
    case XFS_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case F2FS_SUPER_MAGIC:
      return true;
    default:
      return false;
  }
}

// Formats a device number as the kernel does: "8:1".
std::string DeviceNumbers(uint32_t device) {
  return std::to_string(device >> 20) + ":" + std::to_string(device & ((1U << 20) - 1));
}

struct MountedFilesystem {
  std::string type;
  std::string options;  // separated by commas
};

// Returns what /proc/self/mountinfo shows for the device. statfs reports only FUSE, not the driver
// behind it, and no options. A line of the file is
// "ID PARENT MAJOR:MINOR ROOT POINT OPTIONS [TAG...] - TYPE SOURCE OPTIONS".
MountedFilesystem FindMounted(uint32_t device) {
  const std::string number = DeviceNumbers(device);
  std::ifstream mounts("/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string id, parent, lineDevice, field;
    fields >> id >> parent >> lineDevice;
    if (lineDevice != number) continue;
    while (fields >> field && field != "-") {
    }
    MountedFilesystem mounted;
    fields >> mounted.type >> field >> mounted.options;
    return mounted;
  }
  return {};
}

// Adds the filesystems of the folders that an option of an overlay names. Returns false if one
// cannot be examined.
bool AddLayerDevices(std::string_view folders, std::set<dev_t>* devices) {
  while (!folders.empty()) {
    const std::string folder(folders.substr(0, folders.find(':')));
    folders.remove_prefix(std::min(folder.size() + 1, folders.size()));
    struct stat info = {};
    if (!folder.starts_with('/') || stat(folder.c_str(), &info) != 0) return false;
    devices->insert(info.st_dev);
  }
  return true;
}

// Returns true if the layers of an overlay are on different filesystems, and the overlay does not
// map their inode numbers. Only then do its folders have no inode numbers of their own. Layers that
// cannot be seen, as in a container, count as being on one filesystem, which they usually are.
bool HasLayersOnDifferentFilesystems(uint32_t device) {
  std::istringstream options(FindMounted(device).options);
  std::set<dev_t> devices;
  for (std::string option; std::getline(options, option, ',');) {
    const size_t value = std::min(option.find('='), option.size());
    const std::string name = option.substr(0, value);
    if (option == "xino=on") return false;
    if (name != "lowerdir" && name != "lowerdir+" && name != "upperdir") continue;
    if (!AddLayerDevices(std::string_view(option).substr(value + 1), &devices)) return false;
  }
  return devices.size() > 1;
}

// The FUSE drivers of exFAT and NTFS mount themselves as "fuseblk".
bool HasWindowsNames(uint32_t magic, uint32_t device) {
  switch (magic) {
    case MSDOS_SUPER_MAGIC:
    case kExfatMagic:
    case kNtfsMagic:
    case kNtfs3Magic:
      return true;
    case FUSE_SUPER_MAGIC: {
      const std::string type = FindMounted(device).type;
      return type == "fuseblk" || type.find("exfat") != std::string::npos ||
             type.find("ntfs") != std::string::npos || type.find("fat") != std::string::npos;
    }
    default:
      return false;
  }
}

// FUSE may hide any driver. That of NTFS is recognised by its attribute, which every object has.
bool HasNtfsDates(uint32_t magic, const std::string& path) {
  if (magic != FUSE_SUPER_MAGIC) return false;
  // The value is read, because the driver reports a wrong size if only the size is requested.
  std::array<char, 8> date = {};
  return getxattr(path.c_str(), kNtfsDateForm.attribute, date.data(), date.size()) ==
         static_cast<ssize_t>(date.size());
}

// FAT and exFAT have no inode numbers: the kernel invents one for each object that it loads. It
// does the same for CIFS if the server has none, for vboxsf, and for the folders of some overlays.
// libfuse does it for most FUSE drivers; that of NTFS,
// which is recognised by its dates, has stable ones.
bool HasUnstableInodes(uint32_t magic, uint32_t device, bool hasNtfsDates) {
  switch (magic) {
    case MSDOS_SUPER_MAGIC:
    case kExfatMagic:
    case kCifsMagic:
    case kSmb2Magic:
    case kVboxMagic:
      return true;
    case OVERLAYFS_SUPER_MAGIC:
      return HasLayersOnDifferentFilesystems(device);
    case FUSE_SUPER_MAGIC:
      return !hasNtfsDates;
    default:
      return false;
  }
}

// True if an ext4 filesystem has a journal, which is seen by the kernel task that writes it. ext4
// can be created without a journal, and ext2 has the same magic number and none.
bool HasExt4Journal(uint32_t device) {
  std::error_code error;
  const auto block =
      std::filesystem::read_symlink("/sys/dev/block/" + DeviceNumbers(device), error);
  std::ifstream file("/sys/fs/ext4/" + block.filename().string() + "/journal_task");
  int process = 0;
  return static_cast<bool>(file >> process);
}

// These filesystems log metadata changes in order. After fsync of a file, the log contains its new
// name, which was given before.
bool SyncsNamesWithFile(uint32_t magic, uint32_t device) {
  if (magic == EXT4_SUPER_MAGIC) return HasExt4Journal(device);
  return magic == XFS_SUPER_MAGIC || magic == BTRFS_SUPER_MAGIC;
}

bool CreatesFilesWhenClosed(uint32_t magic, uint32_t device) {
  return magic == FUSE_SUPER_MAGIC && FindMounted(device).type == "fuse.rclone";
}

Volume MakeVolume(const struct statfs& info, uint32_t device, const std::string& path) {
  const auto magic = static_cast<uint32_t>(info.f_type);
  // The filesystems with reliable entries are local and driven by the kernel itself. That also
  // makes their write errors immediate, their attributes coherent and their leases reliable.
  const bool isLocal = HasReliableEntries(magic);
  const bool hasNtfsDates = HasNtfsDates(magic, path);
  return {HasUnstableInodes(magic, device, hasNtfsDates),
          magic == OVERLAYFS_SUPER_MAGIC,
          isLocal,
          HasWindowsNames(magic, device),
          hasNtfsDates,
          magic == kCifsMagic || magic == kSmb2Magic,
          magic != FUSE_SUPER_MAGIC,
          isLocal,
          isLocal,
          isLocal,
          SyncsNamesWithFile(magic, device),
          magic == BTRFS_SUPER_MAGIC,
          isLocal && magic != XFS_SUPER_MAGIC,
          CreatesFilesWhenClosed(magic, device)};
}

struct ExaminedVolume {
  uint32_t device;
  Volume volume;
  const ExaminedVolume* next;
};

// The filesystems that have been examined in this run: a list of a few entries, which only grows
// until ForgetVolumes. So every thread can read it without a lock.
std::atomic<const ExaminedVolume*> gVolumes = nullptr;

const Volume* FindVolume(uint32_t device) {
  const ExaminedVolume* each = gVolumes.load(std::memory_order_acquire);
  while (each != nullptr && each->device != device) each = each->next;
  return each == nullptr ? nullptr : &each->volume;
}

// Two threads may examine the same filesystem at once. Then it is in the list twice, which does no
// harm.
const Volume& RememberVolume(uint32_t device, const Volume& volume) {
  auto* examined = new ExaminedVolume{device, volume, gVolumes.load(std::memory_order_relaxed)};
  while (!gVolumes.compare_exchange_weak(examined->next, examined, std::memory_order_release,
                                         std::memory_order_relaxed)) {
  }
  return examined->volume;
}

bool IsRefusedByWindows(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == '\x7f' ||
         std::string_view("\"*:<>?\\|").find(c) != std::string_view::npos;
}

// These filesystems store names as UTF-16, which cannot hold bytes that are not UTF-8.
void ReplaceIllFormedBytes(std::string* name) {
  if (IsUtf8(*name)) return;
  std::u16string units = Utf16FromUtf8(*name);
  for (size_t i = 0; i < units.size(); ++i) {
    if (IsHighSurrogate(units[i])) {
      ++i;
    } else if (IsLowSurrogate(units[i])) {
      units[i] = u'_';
    }
  }
  *name = Utf8FromUtf16(units);
}

}  // namespace

const Volume& VolumeOf(uint32_t device, int descriptor) {
  if (const Volume* known = FindVolume(device)) return *known;
  struct statfs info = {};
  const bool isKnown = fstatfs(descriptor, &info) == 0;
  return RememberVolume(device,
                        isKnown ? MakeVolume(info, device, ProcFdPath(descriptor)) : Volume());
}

const Volume& VolumeAt(uint32_t device, const std::string& path) {
  if (const Volume* known = FindVolume(device)) return *known;
  struct statfs info = {};
  const bool isKnown = statfs(path.c_str(), &info) == 0;
  return RememberVolume(device, isKnown ? MakeVolume(info, device, path) : Volume());
}

bool IsAnyOverlayKnown() {
  const ExaminedVolume* each = gVolumes.load(std::memory_order_acquire);
  while (each != nullptr && !each->volume.isOverlay) each = each->next;
  return each != nullptr;
}

void ForgetVolumes() {
  const ExaminedVolume* each = gVolumes.exchange(nullptr, std::memory_order_acquire);
  while (each != nullptr) delete std::exchange(each, each->next);
}

bool HasUnstableInodes(uint32_t device) {
  const Volume* known = FindVolume(device);
  return known != nullptr && known->hasUnstableInodes;
}

bool HasUnstableFolderBirths(uint32_t device) {
  const Volume* known = FindVolume(device);
  return known != nullptr && known->isOverlay;
}

std::string NameOnVolume(std::string_view name, const Volume& volume) {
  std::string result(name);
  if (!volume.hasWindowsNames) return result;
  for (char& c : result) {
    if (IsRefusedByWindows(c)) c = '_';
  }
  ReplaceIllFormedBytes(&result);
  for (size_t i = result.size(); i > 0 && (result[i - 1] == ' ' || result[i - 1] == '.'); --i) {
    result[i - 1] = '_';
  }
  return result;
}

}  // namespace tessary
