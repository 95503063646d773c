#include "platform/linux/changes/copy_attributes.h"

#include <endian.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/descriptors/proc_fd_path.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/comment_forms.h"
#include "platform/linux/mac_formats/finder_info_forms.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

constexpr char kAccessList[] = "system.posix_acl_access";
constexpr char kDefaultList[] = "system.posix_acl_default";

// "system." attributes are views of the filesystem's own metadata, and "security." attributes are
// labels that depend on where an object is: both are the target system's to set. ACLs and file
// capabilities are the exceptions that belong to the file.
bool IsCopied(std::string_view name) {
  if (name.starts_with("system.")) return name == kAccessList || name == kDefaultList;
  if (name.starts_with("security.")) return name == "security.capability";
  return true;
}

// Only a privileged process may set these.
bool IsPrivileged(std::string_view name) {
  return name.starts_with("trusted.") || name.starts_with("security.");
}

// Calls `read(buffer, size)`, which is flistxattr or fgetxattr, with a buffer that is large enough.
// Returns false on failure, with errno set. The first size fits nearly every list and value, so
// that one call suffices.
template <typename Read>
bool ReadWhole(const Read& read, std::string* bytes) {
  bytes->resize(1024);
  while (true) {
    ssize_t size = read(bytes->data(), bytes->size());
    if (size >= 0) {
      bytes->resize(static_cast<size_t>(size));
      return true;
    }
    if (errno != ERANGE) return false;
    size = read(nullptr, 0);
    if (size < 0) return false;
    // Another process may make it longer before the next attempt, hence the loop. Never 0 bytes,
    // which would query the size again and read nothing.
    bytes->resize(static_cast<size_t>(size) + 1);
  }
}

bool MeansNoAttributes(int error) { return error == ENOTSUP || error == ENOSYS; }

// Returns true if the attributes of the folder around the open object cannot be listed either:
// then it is not this object that is damaged.
bool IsFolderAroundAffected(int file, uint32_t device, std::string* path) {
  std::error_code error;
  const auto folder = std::filesystem::read_symlink(ProcFdPath(file), error).parent_path();
  struct statx info = {};
  if (error || ReadObjectInfo(AT_FDCWD, folder.c_str(), &info) != noErr) return false;
  if (Identity::Of(info).device != device) return false;
  *path = folder.string();
  // For folders, rclone returns ENOTSUP.
  return listxattr(path->c_str(), nullptr, 0) < 0 && (errno == EIO || MeansNoAttributes(errno));
}

// Returns true if the filesystem of the open object has no attributes, although its driver reports
// EIO instead (rclone). Logged once per filesystem. On filesystems that the kernel drives, EIO is
// an error of the disk.
bool LacksAttributes(int file) {
  struct statx info = {};
  std::string path;
  if (ReadObjectInfo(file, "", &info) != noErr) return false;
  const uint32_t device = Identity::Of(info).device;
  if (HasProbeResult(device, ProbeResult::kNoAttributes)) return true;
  if (VolumeOf(device, file).hasReliableErrors) return false;
  if (!IsFolderAroundAffected(file, device, &path)) return false;
  RememberProbeResult(device, ProbeResult::kNoAttributes);
  NSLog("The filesystem of \"" + path + "\" reports an error for all attributes: they are ignored");
  return true;
}

// Returns true if a call for the attributes of `file` has failed with `error` because its
// filesystem has none.
bool HasNoAttributes(int file, int error) {
  return MeansNoAttributes(error) || (error == EIO && LacksAttributes(file));
}

// Reads the names, each with a terminating NUL. A filesystem without attributes has none.
Status ReadNames(int file, std::string* names) {
  const auto read = [file](char* buffer, size_t size) { return flistxattr(file, buffer, size); };
  if (ReadWhole(read, names)) return noErr;
  const int error = errno;
  names->clear();
  return HasNoAttributes(file, error) ? noErr : StatusFromErrno(error);
}

// Returns fnfErr if the attribute has been removed since it was listed.
Status ReadValue(int file, const char* name, std::string* value) {
  const auto read = [file, name](char* buffer, size_t size) {
    return fgetxattr(file, name, buffer, size);
  };
  if (ReadWhole(read, value)) return noErr;
  return errno == ENODATA ? fnfErr : LastError();
}

// Returns the group bits that grant the owning group what the ACL grants it. Beside an ACL, the
// group bits of the mode hold the ACL's mask, the most that any listed user or group may have:
// without the ACL they would open the file to the owning group.
std::optional<mode_t> GroupModeOf(const std::string& list) {
  struct Entry {
    uint16_t tag;
    uint16_t permissions;
    uint32_t id;
  };
  constexpr uint16_t kOwningGroup = 0x04;
  constexpr uint16_t kMask = 0x10;
  mode_t group = 0;
  mode_t mask = 07;
  for (size_t at = sizeof(uint32_t); at + sizeof(Entry) <= list.size(); at += sizeof(Entry)) {
    Entry entry = {};
    std::memcpy(&entry, list.data() + at, sizeof(entry));
    if (le16toh(entry.tag) == kOwningGroup) group = le16toh(entry.permissions);
    if (le16toh(entry.tag) == kMask) mask = le16toh(entry.permissions);
  }
  return (group & mask & 07) << 3;
}

// Empties the comment that a Mac keeps in the value. The attribute itself stays, so that a comment
// written later is stored there, too.
void RemoveComment(const char* name, std::string* value) {
  const CommentForm* form = FindCommentForm(name);
  if (form == nullptr || !form->read(*value)) return;
  if (const auto emptied = form->replace(*value, {})) *value = *emptied;
}

// Stores an attribute that only HFS and HFS+ have under a portable name. Returns false if there is
// none. HFS keeps type and creator in two attributes, which become one: the type brings the creator
// along.
bool StoreInPortableForm(int from, int to, std::string_view name, const std::string& value) {
  if (name == kHfsCreatorAttribute) return true;
  std::string creator;
  if (name == kHfsTypeAttribute && ReadValue(from, kHfsCreatorAttribute, &creator) != noErr) {
    return false;
  }
  const std::optional<PortableAttribute> kept = MakePortable(name, value, creator);
  return kept && fsetxattr(to, kept->name.c_str(), kept->value.data(), kept->value.size(), 0) == 0;
}

Status CopyAttribute(int from, int to, const char* name, bool omitsComment,
                     AttributesCopied* copied) {
  std::string value;
  Status status = ReadValue(from, name, &value);
  // An attribute that was removed meanwhile has changed the source's change time, which FillFile
  // checks after copying.
  if (status != noErr) return status == fnfErr ? noErr : status;
  const std::optional<AttributeDate> date = ReadAttributeDate(name, value);
  const bool isBetter = !copied->creationDate || (date && date->rank < copied->creationDate->rank);
  if (date && isBetter) copied->creationDate = date;
  if (omitsComment) RemoveComment(name, &value);
  if (fsetxattr(to, name, value.data(), value.size(), 0) == 0) return noErr;
  // Not counted as dropped: the target could store it, this user may not.
  const int error = errno;
  if (error == EPERM && IsPrivileged(name)) return noErr;
  if (!HasNoAttributes(to, error)) return StatusFromErrno(error);
  if (StoreInPortableForm(from, to, name, value)) return noErr;
  copied->isAnyDropped = true;
  if (std::string_view(name) == kAccessList) copied->groupMode = GroupModeOf(value);
  return noErr;
}

// Removes the ACL if there is one. The query comes first because it is cheap, while a removal locks
// the inode and begins a journal transaction even if there is nothing to remove.
Status RemoveInherited(int file, const char* name) {
  if (fgetxattr(file, name, nullptr, 0) < 0) return noErr;
  return fremovexattr(file, name) == 0 || errno == ENODATA ? noErr : LastError();
}

}  // namespace

Status CopyAttributes(int from, mode_t mode, int to, bool omitsComment, AttributesCopied* copied) {
  AttributesCopied done;
  std::string names;
  if (const Status status = ReadNames(from, &names)) return status;
  bool hasDefaultList = false;
  for (size_t at = 0; at < names.size();) {
    const char* name = names.data() + at;
    const std::string_view text = name;
    at += text.size() + 1;
    done.hasAccessList |= text == kAccessList;
    hasDefaultList |= text == kDefaultList;
    if (!IsCopied(text) || (omitsComment && text == kCommentAttribute)) continue;
    if (const Status status = CopyAttribute(from, to, name, omitsComment, &done)) return status;
  }
  // `to` was created in a folder whose default ACL it may have inherited.
  if (!done.hasAccessList) {
    if (const Status status = RemoveInherited(to, kAccessList)) return status;
  }
  if (S_ISDIR(mode) && !hasDefaultList) {
    if (const Status status = RemoveInherited(to, kDefaultList)) return status;
  }
  *copied = done;
  return noErr;
}

}  // namespace tessary
