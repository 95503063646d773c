#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessary {

// The properties of a mounted filesystem. All false means an unknown one, for which the safe and
// slower way is taken everywhere.
struct Volume {
  // An untouched object has another inode number once the kernel has dropped it from memory.
  bool hasUnstableInodes = false;
  // A change of an object of a lower layer copies it up first, after which its inode number or
  // birth time is another one.
  bool isOverlay = false;
  // d_ino and d_type of a directory entry equal what statx returns, for everything but folders.
  bool hasReliableEntries = false;
  // The filesystem refuses names with characters that Windows does not allow.
  bool hasWindowsNames = false;
  // The driver provides a creation date in an attribute that it does not list
  // (mac_formats/date_forms.h).
  bool hasNtfsDates = false;
  bool hasCifsDates = false;
  // A call that the filesystem does not support fails with ENOTSUP. The driver of a FUSE filesystem
  // may report any error.
  bool hasReliableErrors = false;
  // write reports all errors. On FUSE and network filesystems an error may be reported only by
  // close.
  bool hasImmediateWriteErrors = false;
  // statx returns the current attributes of a file. FUSE and network filesystems may return cached
  // ones that another machine or the driver has changed since.
  bool hasCoherentAttributes = false;
  // A read lease is refused only if some process has the file open for writing. Network filesystems
  // refuse it with the same error whoever has the file open, and do not know about writers on other
  // machines.
  bool hasReliableLeases = false;
  // fsync of a file also makes the names durable that it has at that time.
  bool syncsNamesWithFile = false;
  // fsync writes one object and little else. The dates of a symbolic link, which cannot be synced
  // by itself, are then not durable after fsync of the folder, but only after a sync of the
  // filesystem.
  bool syncsObjectsSeparately = false;
  // All that a new file inherits from its folder, apart from owner, group, access control list and
  // SELinux label, is in the flags of the folder (FS_IOC_GETFLAGS), or linkat refuses folders that
  // differ in it, as with the projects of ext4. XFS has further properties.
  bool inheritsFlagsOnly = false;
  // The driver creates a new file only when it is closed, and an empty one some time after that
  // (rclone).
  bool createsFilesWhenClosed = false;
};

// Return the properties of the filesystem with that device number. They are determined once per
// run, through a descriptor of, or a path to, any object on it. The result is valid until
// ForgetVolumes. These and IsAnyOverlayKnown are safe to call from several threads.
const Volume& VolumeOf(uint32_t device, int descriptor);
const Volume& VolumeAt(uint32_t device, const std::string& path);

// Returns true if VolumeOf or VolumeAt has found an overlay. Callers ask this first, because it is
// false in most runs and needs no device number, which would cost a system call.
bool IsAnyOverlayKnown();

// Discards all properties. The kernel reuses the device number of an unmounted filesystem. No other
// thread may use them at that time.
void ForgetVolumes();

// Returns the name under which an object named `name` can exist on a filesystem: the same, or with
// "_" in place of each character, trailing space or trailing dot that the filesystem refuses.
std::string NameOnVolume(std::string_view name, const Volume& volume);

}  // namespace tessary
