#include "platform/linux/catalog/reference.h"

namespace tessary {

Identity Identity::Of(const struct statx& info) {
  Identity identity;
  identity.inode = info.stx_ino;
  identity.device = info.stx_dev_major << 20 | info.stx_dev_minor;
  const bool hasBirth = (info.stx_mask & STATX_BTIME) != 0 &&
                        !(S_ISDIR(info.stx_mode) && HasUnstableFolderBirths(identity.device));
  if (hasBirth) {
    identity.birth =
        static_cast<uint64_t>(info.stx_btime.tv_sec) * 1'000'000'000 + info.stx_btime.tv_nsec;
  }
  return identity;
}

NodeKind KindOf(const struct statx& info) {
  if (S_ISREG(info.stx_mode)) return NodeKind::kFile;
  if (S_ISDIR(info.stx_mode)) return NodeKind::kFolder;
  if (S_ISLNK(info.stx_mode)) return NodeKind::kLink;
  return NodeKind::kSpecial;
}

bool IsObjectOf(const Reference& reference, const struct statx& info) {
  // kSpecial matches every kind: an entry has that kind too if its stat failed during the listing.
  const bool isOfKind = reference.kind == NodeKind::kSpecial || KindOf(info) == reference.kind;
  if (!isOfKind) return false;
  if (Identity::Of(info).Matches(reference.GetIdentity())) return true;
  // The entry of a file that is a mount point has the inode number of the object below the mount.
  // Without a birth time the reference may have been made from an entry; that of a folder never is.
  return reference.birth == 0 && !reference.IsFolder() && IsMountPoint(info);
}

bool IsMountPoint(const struct statx& info) {
  return (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

bool IsVolumeRoot(const struct statx& info) { return S_ISDIR(info.stx_mode) && IsMountPoint(info); }

}  // namespace tessary
