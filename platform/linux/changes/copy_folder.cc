#include "platform/linux/changes/copy_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copy_file.h"
#include "platform/linux/changes/copy_link.h"
#include "platform/linux/changes/folder_chain.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename_fallbacks.h"
#include "platform/linux/changes/tree_walk.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

// The first copy of every file with several names, under a name made of its original's numbers in a
// hidden folder of its own, so that the next of its names can be linked to it wherever that lies.
class LinkPool {
 public:
  explicit LinkPool(int parent) : parent_(parent) {}

  // Gives the copy of the file that `info` tells of one more name. fnfErr: there is none to link
  // to.
  Status Link(const struct statx& info, int toFolder, const char* toName) const {
    if (!known_.contains(KeyOf(info))) return fnfErr;
    if (linkat(pool_.fd(), NameOf(info).c_str(), toFolder, toName, 0) == 0) return noErr;
    // Past the most links that a file can have, another copy begins.
    return errno == EMLINK ? fnfErr : LastError();
  }

  // Keeps the copy (`toFolder`, `toName`) for later. A volume without links keeps nothing.
  Status Keep(const struct statx& info, int toFolder, const char* toName) {
    if (!pool_) {
      const Status status = TempItem::MakeTempFolder(parent_, &pool_.item);
      if (status != noErr) return status;
      pool_.isMade = true;
    }
    if (linkat(toFolder, toName, pool_.fd(), NameOf(info).c_str(), 0) == 0) {
      known_.insert(KeyOf(info));
      return noErr;
    }
    const bool hasNoLinks =
        errno == EPERM || errno == ENOTSUP || errno == ENOSYS || errno == EMLINK || errno == EEXIST;
    return hasNoLinks ? noErr : LastError();
  }

 private:
  using Key = std::tuple<uint32_t, uint64_t, uint64_t>;

  struct Pool {
    TempItem item;
    bool isMade = false;
    int fd() const { return item.fd(); }
    explicit operator bool() const { return isMade; }
  };

  static Key KeyOf(const struct statx& info) {
    const Identity identity = Identity::Of(info);
    return {identity.device, identity.inode, identity.birth};
  }

  static std::string NameOf(const struct statx& info) {
    const Identity identity = Identity::Of(info);
    return std::to_string(identity.device) + "-" + std::to_string(identity.inode) + "-" +
           std::to_string(identity.birth);
  }

  int parent_;
  Pool pool_;
  std::set<Key> known_;
};

class FolderCopy : public TreeVisitor {
 public:
  // `own` is the identity of the folder that is made. With `syncsEach`, each object is durable when
  // it is copied.
  FolderCopy(const TempItem& target, const Identity& own, bool syncsEach, Manifest* manifest,
             bool* isAnyDropped)
      : own_(own),
        chain_(target.fd()),
        links_(target.folder()),
        syncsEach_(syncsEach),
        manifest_(manifest),
        isAnyDropped_(isAnyDropped) {}

  Status VisitObject(int folder, const char* name, const struct statx& info) override {
    if (S_ISLNK(info.stx_mode)) {
      manifest_->Add(name, info);
      return RecreateLink(folder, name, info, chain_.fd(), name);
    }
    if (!S_ISREG(info.stx_mode)) return paramErr;
    return info.stx_nlink > 1 ? CopyLinkedFile(folder, name, info)
                              : CopyInnerFile(folder, name, info);
  }

  // A mount can lead from a folder outside back into the one that is copied, which no look at the
  // folders above shows; there the copy meets itself.
  Status EnterFolder(int /*folder*/, const char* name, const struct statx& info,
                     int /*opened*/) override {
    if (Identity::Of(info).Matches(own_)) return badMovErr;
    manifest_->Add(name, info);
    if (mkdirat(chain_.fd(), name, 0700) != 0) return LastError();
    UniqueFd made(openat(chain_.fd(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!made) return LastError();
    // What the folder inherits can keep its own maker out of it. A volume without modes may refuse.
    (void)fchmod(made.get(), 0700);
    struct statx madeInfo = {};
    if (const Status status = ReadObjectInfo(made.get(), "", &madeInfo)) return status;
    chain_.Push(std::move(made), Identity::Of(madeInfo));
    return noErr;
  }

  Status LeaveFolder(int /*folder*/, const char* /*name*/, const struct statx& info,
                     int left) override {
    manifest_->AddEndOfFolder();
    UniqueFd made;
    if (const Status status = chain_.Pop(&made)) return status;
    return FinishFolder(left, info, made.get(), CopyRole::kInnerItem);
  }

  // Modes and times of a folder come after its contents, which change them or need them open.
  Status FinishFolder(int from, const struct statx& info, int to, CopyRole role) {
    struct statx made = {};
    if (const Status status = ReadObjectInfo(to, "", &made)) return status;
    if (const Status status = CopyMetadata(from, info, to, made, role, isAnyDropped_)) {
      return status;
    }
    return MakeDurable(to);
  }

 private:
  Status MakeDurable(int file) const {
    return !syncsEach_ || fsync(file) == 0 ? noErr : LastError();
  }

  Status CopyLinkedFile(int folder, const char* name, const struct statx& info) {
    Status status = links_.Link(info, chain_.fd(), name);
    if (status == noErr) manifest_->Add(name, info);
    if (status != fnfErr) return status;
    status = CopyInnerFile(folder, name, info);
    return status == noErr ? links_.Keep(info, chain_.fd(), name) : status;
  }

  Status CopyInnerFile(int folder, const char* name, const struct statx& info) {
    UniqueFd from;
    struct statx copied = {};
    Status status = OpenSourceFile(folder, name, Identity::Of(info), &copied, &from);
    if (status != noErr) return status;
    constexpr int kTries = 2;
    for (int i = 0; i < kTries; ++i) {
      constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
      const UniqueFd to(openat(chain_.fd(), name, kFlags, 0600));
      if (!to) return LastError();
      struct statx made = {};
      status = ReadObjectInfo(to.get(), "", &made);
      if (status != noErr) return status;
      bool hasChanged = false;
      status = FillFile(from.get(), to.get(), made, CopyRole::kInnerItem, &copied, &hasChanged,
                        isAnyDropped_);
      if (status != noErr) return status;
      if (!hasChanged) {
        manifest_->Add(name, copied);
        return MakeDurable(to.get());
      }
      if (unlinkat(chain_.fd(), name, 0) != 0) return LastError();
    }
    return fBsyErr;
  }

  Identity own_;
  FolderChain chain_;
  LinkPool links_;
  bool syncsEach_;
  Manifest* manifest_;
  bool* isAnyDropped_;
};

Status FillFolder(int from, const struct statx& info, const TempItem& target, CopyRole role,
                  Manifest* manifest, bool* isAnyDropped) {
  struct statx made = {};
  if (const Status status = ReadObjectInfo(target.fd(), "", &made)) return status;
  const bool isMoved = role == CopyRole::kMovedItem;
  const bool syncsVolume =
      isMoved && VolumeOf(Identity::Of(made).device, target.fd()).syncsObjectsSeparately;
  FolderCopy copy(target, Identity::Of(made), isMoved && !syncsVolume, manifest, isAnyDropped);
  manifest->Add(".", info);
  if (const Status status = WalkTree(from, copy)) return status;
  const Status status = copy.FinishFolder(from, info, target.fd(), role);
  if (status != noErr || !syncsVolume) return status;
  return syncfs(target.fd()) == 0 ? noErr : LastError();
}

}  // namespace

Status CopyFolder(int folder, const char* name, const struct statx& info, int toFolder,
                  const char* toName, CopyRole role, TempItem* made, Manifest* manifest,
                  bool* isAnyDropped) {
  const UniqueFd from = OpenWithoutAtime(folder, name, O_DIRECTORY | O_NOFOLLOW);
  if (!from) return LastError();
  struct statx opened = {};
  if (const Status status = ReadObjectInfo(from.get(), "", &opened)) return status;
  if (!Identity::Of(opened).Matches(Identity::Of(info))) return fnfErr;
  if (LiesWithin(toFolder, folder, name)) return badMovErr;

  TempItem item;
  if (const Status status = TempItem::MakeTempFolder(toFolder, &item)) return status;
  Manifest copied;
  Status status = FillFolder(from.get(), opened, item, role, &copied, isAnyDropped);
  if (status != noErr) return status;
  status = item.Publish(toName);
  if (status != noErr) return status;
  *made = std::move(item);
  *manifest = std::move(copied);
  return noErr;
}

}  // namespace tessary
