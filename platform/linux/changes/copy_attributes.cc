#include "platform/linux/changes/copy_attributes.h"

#include <endian.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/comment_forms.h"
#include "platform/linux/mac_formats/finder_info_forms.h"

namespace tessary {
namespace {

constexpr char kAccessList[] = "system.posix_acl_access";
constexpr char kDefaultList[] = "system.posix_acl_default";

// What is carried from file to file. "system." is how file systems show their own records, and
// "security." how security modules label an object where it lies.
bool IsCopied(std::string_view name) {
  if (name.starts_with("system.")) return name == kAccessList || name == kDefaultList;
  if (name.starts_with("security.")) return name == "security.capability";
  return true;
}

// Attributes that only a privileged process may set.
bool IsPrivileged(std::string_view name) {
  return name.starts_with("trusted.") || name.starts_with("security.");
}

// The names, each with a terminating zero. A volume without attributes has none.
Status ReadNames(int file, std::string* names) {
  names->resize(1024);
  while (true) {
    ssize_t size = flistxattr(file, names->data(), names->size());
    if (size < 0 && errno == ERANGE) {
      size = flistxattr(file, nullptr, 0);
      if (size >= 0) {
        names->resize(static_cast<size_t>(size));
        continue;
      }
    }
    if (size < 0 && errno != ENOTSUP && errno != ENOSYS) return LastError();
    names->resize(size < 0 ? 0 : static_cast<size_t>(size));
    return noErr;
  }
}

// fnfErr where the attribute has gone since it was listed.
Status ReadValue(int file, const char* name, std::string* value) {
  value->resize(1024);
  while (true) {
    ssize_t size = fgetxattr(file, name, value->data(), value->size());
    if (size < 0 && errno == ERANGE) {
      size = fgetxattr(file, name, nullptr, 0);
      if (size >= 0) {
        value->resize(static_cast<size_t>(size));
        continue;
      }
    }
    if (size < 0) return errno == ENODATA ? fnfErr : LastError();
    value->resize(static_cast<size_t>(size));
    return noErr;
  }
}

// What an access control list leaves to the owning group: without the list, the group bits of the
// mode would stand for the most that anybody in it has.
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

// The value without the comment that a Mac keeps in it. The form stays, so that a comment that is
// written later reaches it.
void RemoveComment(const char* name, std::string* value) {
  const CommentForm* form = FindCommentForm(name);
  if (form == nullptr || !form->read(*value)) return;
  if (const auto emptied = form->replace(*value, {})) *value = *emptied;
}

// Gives `to` what stands for an attribute that only a Mac's volumes have room for. The creator of
// HFS goes with the type.
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
  // The look at the source after copying finds out what went with it.
  if (status != noErr) return status == fnfErr ? noErr : status;
  const std::optional<AttributeDate> date = ReadAttributeDate(name, value);
  const bool isBetter = !copied->creationDate || (date && date->rank < copied->creationDate->rank);
  if (date && isBetter) copied->creationDate = date;
  if (omitsComment) RemoveComment(name, &value);
  if (fsetxattr(to, name, value.data(), value.size(), 0) == 0) return noErr;
  if (errno == EPERM && IsPrivileged(name)) return noErr;
  if (errno != ENOTSUP && errno != ENOSYS) return LastError();
  if (StoreInPortableForm(from, to, name, value)) return noErr;
  copied->isAnyDropped = true;
  if (std::string_view(name) == kAccessList) copied->groupMode = GroupModeOf(value);
  return noErr;
}

// The question is cheaper than the removal of what is not there.
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
