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
#include "platform/managers/log.h"

namespace tessary {
namespace {

// Keeps a hard link to the first copy of every file with several names, in a temporary folder
// beside the copy, so that further names can be linked to it. Linking to the first copy in its
// place would need its folder open, or a path to it, which can be too long and can be redirected by
// others.
class LinkPool {
 public:
  explicit LinkPool(int parent) : parent_(parent) {}

  // Gives the copy of the file whose stat result is `info` one more name. Returns fnfErr if no
  // copy exists.
  Status Link(const struct statx& info, int toFolder, const char* toName) const {
    if (!known_.contains(KeyOf(info))) return fnfErr;
    if (linkat(pool_.fd(), NameOf(info).c_str(), toFolder, toName, 0) == 0) return noErr;
    // At the filesystem's maximum of links per file, the caller begins another copy.
    return errno == EMLINK ? fnfErr : LastError();
  }

  // Keeps the copy (`toFolder`, `toName`) for further names. Does nothing on a filesystem without
  // hard links: each name then gets a copy of its own.
  Status Keep(const struct statx& info, int toFolder, const char* toName) {
    if (pool_.fd() < 0) {
      const Status status = TempItem::MakeTempFolder(parent_, &pool_);
      if (status != noErr) return status;
    }
    if (linkat(toFolder, toName, pool_.fd(), NameOf(info).c_str(), 0) == 0) {
      known_.insert(KeyOf(info));
      return noErr;
    }
    // EEXIST: the pool has an earlier copy of the file, which is at the maximum of links.
    const bool cannotLink =
        errno == EPERM || errno == ENOTSUP || errno == ENOSYS || errno == EMLINK || errno == EEXIST;
    return cannotLink ? noErr : LastError();
  }

 private:
  using Key = std::tuple<uint32_t, uint64_t, uint64_t>;

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
  TempItem pool_;  // created when the first file with several names is copied
  std::set<Key> known_;
};

class FolderCopy : public TreeVisitor {
 public:
  // `own` is the identity of `target`, the top folder of the copy. With `syncsEach`, each object is
  // synced when it is copied.
  FolderCopy(const TempItem& target, const Identity& own, bool syncsEach, CopiedItem* copied)
      : own_(own),
        chain_(target.fd()),
        links_(target.folder()),
        volume_(VolumeOf(own.device, target.fd())),
        syncsEach_(syncsEach),
        copied_(copied) {}

  Status VisitObject(int folder, const char* name, const struct statx& info) override {
    const std::string toName = NameOnVolume(name, volume_);
    return LogIfNamesBecomeOne(name, toName, CopyObject(folder, name, info, toName.c_str()));
  }

  // The copy can lie inside its source although no folder above it is the source: a bind mount can
  // lead back in. The walk then meets the copy itself, and would never end.
  Status EnterFolder(int /*folder*/, const char* name, const struct statx& info,
                     int /*opened*/) override {
    if (Identity::Of(info).Equals(own_)) return badMovErr;
    copied_->manifest.Add(name, info);
    const std::string toName = NameOnVolume(name, volume_);
    // Only the owner has access until it is complete; LeaveFolder sets the final mode.
    if (mkdirat(chain_.fd(), toName.c_str(), 0700) != 0) {
      return LogIfNamesBecomeOne(name, toName, LastError());
    }
    UniqueFd made(
        openat(chain_.fd(), toName.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!made) return LastError();
    // An inherited default ACL can deny the owner access. A filesystem without modes may refuse.
    (void)fchmod(made.get(), 0700);
    struct statx madeInfo = {};
    if (const Status status = ReadObjectInfo(made.get(), "", &madeInfo)) return status;
    chain_.Push(std::move(made), Identity::Of(madeInfo));
    return noErr;
  }

  Status LeaveFolder(int /*folder*/, const char* /*name*/, const struct statx& info,
                     int left) override {
    copied_->manifest.AddEndOfFolder();
    UniqueFd made;
    if (const Status status = chain_.Pop(&made)) return status;
    return FinishFolder(left, info, made.get(), CopyRole::kInnerItem);
  }

  // Sets the metadata of a folder after its contents: creating entries changes the times of the
  // folder, and the final mode may not permit it.
  Status FinishFolder(int from, const struct statx& info, int to, CopyRole role) {
    struct statx made = {};
    if (const Status status = ReadObjectInfo(to, "", &made)) return status;
    const Status status = CopyMetadata(from, info, to, made, role, &copied_->isAnyDropped);
    return status == noErr ? SyncIfWanted(to) : status;
  }

 private:
  Status SyncIfWanted(int file) const {
    return !syncsEach_ || fsync(file) == 0 ? noErr : LastError();
  }

  // The target filesystem may refuse characters of a name, or not distinguish case. Nobody else
  // creates objects in the copy, so that a name that exists is that of another object of the
  // source.
  static Status LogIfNamesBecomeOne(const std::string& name, const std::string& toName,
                                    Status status) {
    if (status != dupFNErr) return status;
    NSLog("\"" + name + "\" and another object in its folder would both be named \"" + toName +
          "\" at the destination");
    return status;
  }

  Status CopyObject(int folder, const char* name, const struct statx& info, const char* toName) {
    if (S_ISLNK(info.stx_mode)) {
      copied_->manifest.Add(name, info);
      return RecreateLink(folder, name, info, chain_.fd(), toName);
    }
    if (!S_ISREG(info.stx_mode)) return paramErr;
    return info.stx_nlink > 1 ? CopyLinkedFile(folder, name, info, toName)
                              : CopyInnerFile(folder, name, info, toName);
  }

  Status CopyLinkedFile(int folder, const char* name, const struct statx& info,
                        const char* toName) {
    Status status = links_.Link(info, chain_.fd(), toName);
    if (status == noErr) copied_->manifest.Add(name, info);
    if (status != fnfErr) return status;
    status = CopyInnerFile(folder, name, info, toName);
    return status == noErr ? links_.Keep(info, chain_.fd(), toName) : status;
  }

  // Unlike an item of its own, a file inside needs no temporary name: the folder around it has one.
  // Like such an item, it is copied once more if it changes meanwhile.
  Status CopyInnerFile(int folder, const char* name, const struct statx& info, const char* toName) {
    UniqueFd from;
    struct statx source = {};
    Status status = OpenSourceFile(folder, name, Identity::Of(info), &source, &from);
    if (status != noErr) return status;
    constexpr int kTries = 2;
    for (int i = 0; i < kTries; ++i) {
      constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
      const UniqueFd to(openat(chain_.fd(), toName, kFlags, 0600));
      if (!to) return LastError();
      struct statx made = {};
      status = ReadObjectInfo(to.get(), "", &made);
      if (status != noErr) return status;
      bool hasChanged = false;
      status = FillFile(from.get(), to.get(), made, CopyRole::kInnerItem, &source, &hasChanged,
                        &copied_->isAnyDropped);
      if (status != noErr) return status;
      if (!hasChanged) {
        copied_->manifest.Add(name, source);
        return SyncIfWanted(to.get());
      }
      if (unlinkat(chain_.fd(), toName, 0) != 0) return LastError();
    }
    return fBsyErr;
  }

  Identity own_;
  FolderChain chain_;
  LinkPool links_;
  const Volume& volume_;  // that of the copy
  bool syncsEach_;
  CopiedItem* copied_;
};

// Copies the open folder `from` to `target`. For a move, everything is durable afterwards, so that
// the name, which comes later, never outlives a crash that the contents do not.
Status FillFolder(int from, const TempItem& target, CopyRole role, CopiedItem* copied) {
  struct statx made = {};
  if (const Status status = ReadObjectInfo(target.fd(), "", &made)) return status;
  const bool isMoved = role == CopyRole::kMovedItem;
  // On btrfs, syncing the objects one by one loses the times of a link after a crash: a link cannot
  // be synced, and its folder's sync does not include them. There one sync covers the filesystem.
  const bool syncsVolume =
      isMoved && VolumeOf(Identity::Of(made).device, target.fd()).syncsObjectsSeparately;
  FolderCopy copy(target, Identity::Of(made), isMoved && !syncsVolume, copied);
  copied->manifest.Add(".", copied->source);
  if (const Status status = WalkTree(from, copy)) return status;
  const Status status = copy.FinishFolder(from, copied->source, target.fd(), role);
  if (status != noErr || !syncsVolume) return status;
  return syncfs(target.fd()) == 0 ? noErr : LastError();
}

}  // namespace

Status CopyFolder(int folder, const char* name, int toFolder, const char* toName, CopyRole role,
                  CopiedItem* copied) {
  const UniqueFd from = OpenWithoutAtime(folder, name, O_DIRECTORY | O_NOFOLLOW);
  if (!from) return LastError();
  struct statx opened = {};
  if (const Status status = ReadObjectInfo(from.get(), "", &opened)) return status;
  if (!Identity::Of(opened).Matches(Identity::Of(copied->source))) return fnfErr;
  copied->source = opened;
  // Otherwise the copy would copy itself without end.
  if (LiesWithin(toFolder, folder, name)) return badMovErr;

  TempItem item;
  if (const Status status = TempItem::MakeTempFolder(toFolder, &item)) return status;
  Status status = FillFolder(from.get(), item, role, copied);
  if (status == noErr) status = item.Publish(toName);
  if (status == noErr) copied->item = std::move(item);
  return status;
}

}  // namespace tessary
