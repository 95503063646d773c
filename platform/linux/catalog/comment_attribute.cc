#include "platform/linux/catalog/comment_attribute.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <utility>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/place_attributes.h"
#include "platform/linux/catalog/sidecar_data.h"
#include "platform/linux/descriptors/proc_fd_path.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/comment_forms.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

// Grants the owner write permission to a file or folder for the lifetime of the object. Setting an
// attribute requires write permission, which the owner of a write-protected file does not have but
// may grant. Not for set-id files: a chmod could clear the bit.
class TemporaryWritePermission {
 public:
  explicit TemporaryWritePermission(const Place& place) : object_(OpenForAttributes(place)) {
    if (!object_) {
      // The file is not even readable. An O_PATH descriptor still identifies it, but can be used
      // for chmod and setxattr only through its path in /proc.
      isPath_ = true;
      object_.Reset(
          openat(place.descriptor(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    }
    struct stat info = {};
    if (!object_ || fstat(object_.get(), &info) != 0) return;
    if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) return;
    if ((info.st_mode & (S_IWUSR | S_ISUID | S_ISGID)) != 0) return;
    mode_ = info.st_mode & 07777;
    isGranted_ = ChangeMode(mode_ | S_IWUSR) == 0;
  }
  ~TemporaryWritePermission() {
    // Dropped: this process has just changed the mode, so it can change it back, and a destructor
    // cannot report a failure.
    if (isGranted_) (void)ChangeMode(mode_);
  }
  TemporaryWritePermission(const TemporaryWritePermission&) = delete;
  TemporaryWritePermission& operator=(const TemporaryWritePermission&) = delete;

  bool IsGranted() const { return isGranted_; }

  int SetAttribute(const char* name, const std::string& value) const {
    if (!isPath_) return fsetxattr(object_.get(), name, value.data(), value.size(), 0);
    // This follows the kernel's link to the open object, not a path that could be swapped.
    return setxattr(ProcFdPath(object_.get()).c_str(), name, value.data(), value.size(), 0);
  }

 private:
  int ChangeMode(mode_t mode) const {
    return isPath_ ? chmod(ProcFdPath(object_.get()).c_str(), mode) : fchmod(object_.get(), mode);
  }

  UniqueFd object_;
  bool isPath_ = false;
  mode_t mode_ = 0;
  bool isGranted_ = false;
};

bool TrySetAttribute(const Place& place, const char* name, const std::string& value, int flags) {
  return SetAttribute(place, name, value.data(), value.size(), flags) == 0;
}

Status WriteAttribute(const Place& place, const char* name, const std::string& value) {
  if (TrySetAttribute(place, name, value, 0)) return noErr;
  const Status status = LastError();
  if (errno != EACCES) return status;
  const TemporaryWritePermission permission(place);
  if (!permission.IsGranted()) return status;
  return permission.SetAttribute(name, value) == 0 ? noErr : LastError();
}

Status WriteOwnAttribute(const Place& place, const std::string& comment) {
  // XATTR_CREATE first, because a copy has no comment yet: one system call. A moved item already
  // has the comment and may be read-only, so it is compared before it is written.
  if (TrySetAttribute(place, kCommentAttribute, comment, XATTR_CREATE)) return noErr;
  std::optional<std::string> present;
  if (ReadComment(place, &present) == noErr && present == comment) return noErr;
  return WriteAttribute(place, kCommentAttribute, comment);
}

// ---- Comments written by a Mac ----

struct FoundComment {
  std::optional<std::u16string> text;
  std::string origin;
};

Status ReadMacAttributes(const Place& place, const AttributeNames& names, FoundComment* found) {
  for (const CommentForm& form : kCommentForms) {
    if (!names.Has(form.attribute)) continue;
    std::optional<std::string> value;
    const Status status = ReadAttribute(place, form.attribute, LinkHandling::kNoFollow, &value);
    if (status != noErr) return status;
    if (value) found->text = form.read(*value);
    found->origin = form.attribute;
    if (found->text) return noErr;
  }
  return noErr;
}

void ReadFromSidecar(const Place& place, FoundComment* found) {
  const std::optional<Place> sidecar = SidecarPlaceOf(place);
  const std::optional<SidecarData> data = sidecar ? ReadSidecar(*sidecar) : std::nullopt;
  if (!data) return;
  found->text = ReadAppleDoubleComment(data->bytes);
  found->origin = sidecar->name;
}

Status UpdateMacAttributes(const Place& place, const std::u16string& comment, bool* isAny) {
  AttributeNames names;
  const Status listed = names.Read(place);
  if (listed != noErr || names.IsEmpty()) return listed;
  for (const CommentForm& form : kCommentForms) {
    if (!names.Has(form.attribute)) continue;
    std::optional<std::string> value;
    Status status = ReadAttribute(place, form.attribute, LinkHandling::kNoFollow, &value);
    if (status != noErr) return status;
    const auto replaced = value ? form.replace(*value, comment) : std::nullopt;
    if (!replaced) continue;
    if (*replaced != *value) status = WriteAttribute(place, form.attribute, *replaced);
    if (status != noErr) return status;
    *isAny = true;
  }
  return noErr;
}

Status UpdateSidecar(const Place& place, const std::u16string& comment, bool* isAny) {
  const std::optional<Place> sidecar = SidecarPlaceOf(place);
  const std::optional<SidecarData> data = sidecar ? ReadSidecar(*sidecar) : std::nullopt;
  const auto replaced = data ? ReplaceAppleDoubleComment(data->bytes, comment) : std::nullopt;
  if (!replaced) return noErr;
  *isAny = true;
  const Status status = RewriteSidecar(*sidecar, *data, *replaced);
  if (status != afpAccessDenied) return status;
  const TemporaryWritePermission permission(*sidecar);
  return permission.IsGranted() ? RewriteSidecar(*sidecar, *data, *replaced) : status;
}

// Returns true for a copy that a dry run has planned and that would not have the comment of its
// original. The comment that the run would write to it is not remembered: the same run would only
// write it again.
bool IsPlannedWithoutComment(const Place& place) {
  return place.planned == PlannedState::kCopied ||
         place.planned == PlannedState::kWithoutAttributes;
}

// Returns the status that WriteComment would have, as far as that is known: it fails on a
// filesystem without attributes, unless a sidecar takes the comment.
Status CheckPlannedComment(const Place& place, const std::string& comment) {
  if (place.planned != PlannedState::kWithoutAttributes) return noErr;
  const std::optional<Place> sidecar = SidecarPlaceOf(place);
  const std::optional<SidecarData> data = sidecar ? ReadSidecar(*sidecar) : std::nullopt;
  return data && ReplaceAppleDoubleComment(data->bytes, Utf16FromUtf8(comment)) ? noErr : paramErr;
}

}  // namespace

Status ReadComment(const Place& place, std::optional<std::string>* comment, std::string* origin) {
  AttributeNames names;
  Status status = IsPlannedWithoutComment(place) ? noErr : names.Read(place);
  if (status != noErr) return status;
  std::optional<std::string> text;
  std::string from = kCommentAttribute;
  if (names.Has(kCommentAttribute)) {
    status = ReadAttribute(place, kCommentAttribute, LinkHandling::kNoFollow, &text);
    if (status != noErr) return status;
  }
  if (!text) {
    FoundComment found;
    status = ReadMacAttributes(place, names, &found);
    if (status != noErr) return status;
    if (!found.text) ReadFromSidecar(place, &found);
    if (found.text) text = Utf8FromUtf16(*found.text);
    from = found.text ? found.origin : "";
  }
  *comment = std::move(text);
  if (origin != nullptr) *origin = from;
  return noErr;
}

Status WriteComment(const Place& place, const std::string& comment) {
  if (Catalog::Get().planned() != nullptr) return CheckPlannedComment(place, comment);
  // The attribute comes first: it takes precedence when the comment is read, so a failure after it
  // leaves no old comment visible to this program.
  const Status written = WriteOwnAttribute(place, comment);
  if (written != noErr && written != paramErr) return written;
  const std::u16string text = Utf16FromUtf8(comment);
  bool isAny = false;
  Status status = UpdateMacAttributes(place, text, &isAny);
  if (status == noErr) status = UpdateSidecar(place, text, &isAny);
  if (status != noErr) return status;
  // paramErr from the attribute means a filesystem without attributes. There the comment in a
  // sidecar is the only one, and it was updated.
  return isAny ? noErr : written;
}

}  // namespace tessary
