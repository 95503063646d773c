#include "platform/linux/catalog/volume.h"

#include <linux/magic.h>
#include <sys/vfs.h>
#include <sys/xattr.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unordered_map>

#include "platform/linux/descriptors/proc_fd_path.h"
#include "platform/linux/mac_formats/date_forms.h"
#include "platform/managers/text.h"
#include "platform/managers/utf16.h"

namespace tessary {
namespace {

// Not all of these have their number in the kernel's header.
constexpr uint32_t kExfatMagic = 0x2011BAB0;
constexpr uint32_t kNtfsMagic = 0x5346544E;
constexpr uint32_t kNtfs3Magic = 0x7366746E;
constexpr uint32_t kCifsMagic = 0xFF534D42;
constexpr uint32_t kSmb2Magic = 0xFE534D42;

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

// "8:1", as the kernel writes it.
std::string DeviceNumbers(uint32_t device) {
  return std::to_string(device >> 20) + ":" + std::to_string(device & ((1U << 20) - 1));
}

// The type that /proc/self/mountinfo shows for the device: FUSE hides what it drives from statfs.
// A line is "ID PARENT MAJOR:MINOR ROOT POINT OPTIONS [TAG...] - TYPE SOURCE OPTIONS".
std::string MountedType(uint32_t device) {
  const std::string number = DeviceNumbers(device);
  std::ifstream mounts("/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string id, parent, lineDevice, field;
    fields >> id >> parent >> lineDevice;
    if (lineDevice != number) continue;
    while (fields >> field && field != "-") {
    }
    fields >> field;
    return field;
  }
  return {};
}

// "fuseblk" is what the drivers of exFAT and NTFS mount themselves as.
bool HasWindowsNames(uint32_t magic, uint32_t device) {
  switch (magic) {
    case MSDOS_SUPER_MAGIC:
    case kExfatMagic:
    case kNtfsMagic:
    case kNtfs3Magic:
      return true;
    case FUSE_SUPER_MAGIC: {
      const std::string type = MountedType(device);
      return type == "fuseblk" || type.find("exfat") != std::string::npos ||
             type.find("ntfs") != std::string::npos || type.find("fat") != std::string::npos;
    }
    default:
      return false;
  }
}

// Any driver may be behind FUSE; the one of NTFS has a creation date for everything.
bool HasNtfsDates(uint32_t magic, const std::string& path) {
  if (magic != FUSE_SUPER_MAGIC) return false;
  // Asked for the size alone, it tells another one.
  std::array<char, 8> date = {};
  return getxattr(path.c_str(), kNtfsDateForm.attribute, date.data(), date.size()) ==
         static_cast<ssize_t>(date.size());
}

// Whether the driver of ext4 has a process that writes the volume's journal: it may have been made
// without one, and ext2, which has none, shows the same number.
bool HasExt4Journal(uint32_t device) {
  std::error_code error;
  const auto block =
      std::filesystem::read_symlink("/sys/dev/block/" + DeviceNumbers(device), error);
  std::ifstream file("/sys/fs/ext4/" + block.filename().string() + "/journal_task");
  int process = 0;
  return static_cast<bool>(file >> process);
}

// Their logs hold what happened in the order in which it did, so that a file's latest state is not
// there without the name that it was given before.
bool SyncsNamesWithFile(uint32_t magic, uint32_t device) {
  if (magic == EXT4_SUPER_MAGIC) return HasExt4Journal(device);
  return magic == XFS_SUPER_MAGIC || magic == BTRFS_SUPER_MAGIC;
}

Volume MakeVolume(const struct statfs& info, uint32_t device, const std::string& path) {
  const auto magic = static_cast<uint32_t>(info.f_type);
  // The same ones know everything about a file while it is open.
  const bool isLocal = HasReliableEntries(magic);
  return {isLocal,
          HasWindowsNames(magic, device),
          HasNtfsDates(magic, path),
          magic == kCifsMagic || magic == kSmb2Magic,
          isLocal,
          isLocal,
          isLocal,
          SyncsNamesWithFile(magic, device),
          magic == BTRFS_SUPER_MAGIC};
}

// Those that were asked, until they are forgotten.
std::unordered_map<uint32_t, Volume> gVolumes;

const Volume* FindVolume(uint32_t device) {
  const auto found = gVolumes.find(device);
  return found == gVolumes.end() ? nullptr : &found->second;
}

bool IsRefusedByWindows(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == '\x7f' ||
         std::string_view("\"*:<>?\\|").find(c) != std::string_view::npos;
}

// These volumes hold names as UTF-16, so that bytes that are no text cannot be in them.
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
  return gVolumes[device] = isKnown ? MakeVolume(info, device, ProcFdPath(descriptor)) : Volume();
}

const Volume& VolumeAt(uint32_t device, const std::string& path) {
  if (const Volume* known = FindVolume(device)) return *known;
  struct statfs info = {};
  const bool isKnown = statfs(path.c_str(), &info) == 0;
  return gVolumes[device] = isKnown ? MakeVolume(info, device, path) : Volume();
}

void ForgetVolumes() { gVolumes.clear(); }

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
