#include "platform/linux/apple_events/comment_attribute.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>

#include "platform/linux/catalog/place_attributes.h"
#include "platform/linux/changes/attributes.h"
#include "platform/linux/errors.h"
#include "platform/linux/process_path.h"

namespace tessary {
namespace {

constexpr size_t kUsualSize = 1024;

// The kernel asks for write permission even of the owner, who may give it: to a file or folder, and
// not where the change of mode could cost a set-id bit.
class WritePermission {
 public:
  explicit WritePermission(const Place& place) : object_(OpenForAttributes(place)) {
    if (!object_) {
      // One that may not even be read is reached through /proc.
      isPath_ = true;
      object_.Reset(
          openat(place.descriptor(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    }
    struct stat info = {};
    if (!object_ || fstat(object_.get(), &info) != 0) return;
    if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) return;
    if ((info.st_mode & (S_IWUSR | S_ISUID | S_ISGID)) != 0) return;
    mode_ = info.st_mode & 07777;
    isGiven_ = ChangeMode(mode_ | S_IWUSR) == 0;
  }
  ~WritePermission() {
    // Whoever could set it a moment ago can set it back.
    if (isGiven_) (void)ChangeMode(mode_);
  }
  WritePermission(const WritePermission&) = delete;
  WritePermission& operator=(const WritePermission&) = delete;

  bool IsGiven() const { return isGiven_; }

  int SetComment(const std::string& comment) const {
    if (!isPath_) {
      return fsetxattr(object_.get(), kCommentAttribute, comment.data(), comment.size(), 0);
    }
    // The path is a link of the kernel's to the object that is held.
    return setxattr(ProcessPathOf(object_.get()).c_str(), kCommentAttribute, comment.data(),
                    comment.size(), 0);
  }

 private:
  int ChangeMode(mode_t mode) const {
    return isPath_ ? chmod(ProcessPathOf(object_.get()).c_str(), mode)
                   : fchmod(object_.get(), mode);
  }

  UniqueFd object_;
  bool isPath_ = false;
  mode_t mode_ = 0;
  bool isGiven_ = false;
};

bool SetComment(const Place& place, const std::string& comment, int flags) {
  return SetAttribute(place, kCommentAttribute, comment.data(), comment.size(), flags) == 0;
}

}  // namespace

Status ReadComment(const Place& place, std::optional<std::string>* comment) {
  std::string text(kUsualSize, '\0');
  while (true) {
    ssize_t size = GetAttribute(place, kCommentAttribute, text.data(), text.size());
    if (size >= 0) {
      text.resize(static_cast<size_t>(size));
      *comment = std::move(text);
      return noErr;
    }
    // The room for what is there at this moment; it may have grown again by the next.
    if (errno == ERANGE) size = GetAttribute(place, kCommentAttribute, nullptr, 0);
    if (size < 0 && errno == ENODATA) {
      comment->reset();
      return noErr;
    }
    if (size < 0) return LastError();
    text.resize(static_cast<size_t>(size));
  }
}

Status WriteComment(const Place& place, const std::string& comment) {
  // A copy has none yet. What was moved has its comment already, and may be an item that can no
  // longer be written.
  if (SetComment(place, comment, XATTR_CREATE)) return noErr;
  std::optional<std::string> present;
  if (ReadComment(place, &present) == noErr && present == comment) return noErr;
  if (SetComment(place, comment, 0)) return noErr;
  const Status refusal = LastError();
  if (errno != EACCES) return refusal;
  const WritePermission permission(place);
  if (!permission.IsGiven()) return refusal;
  return permission.SetComment(comment) == 0 ? noErr : LastError();
}

}  // namespace tessary
