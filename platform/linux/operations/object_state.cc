#include "platform/linux/operations/object_state.h"

#include "platform/linux/catalog/item_kind.h"

namespace tessary {

ObjectState ObjectStateOf(const struct statx& info) {
  const Identity identity = Identity::Of(info);
  ObjectState state;
  state.type = ItemKindOf(KindOf(info));
  state.device = identity.device;
  state.inode = identity.inode;
  state.birth = identity.birth;
  // The size of a folder depends on the filesystem and its history, not on the contents.
  state.size = S_ISDIR(info.stx_mode) ? 0 : info.stx_size;
  state.modified = {info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec};
  return state;
}

bool IsObjectInState(const struct statx& info, const ObjectState& recorded) {
  if (recorded.inode == 0) return true;
  const Identity identity = Identity::Of(info);
  const bool areBirthsKnown = identity.birth != 0 && recorded.birth != 0;
  if (areBirthsKnown && identity.birth != recorded.birth) return false;
  if (HasUnstableInodes(identity.device)) return true;
  return identity.inode == recorded.inode && (areBirthsKnown || identity.device == recorded.device);
}

bool IsInState(const struct statx& info, const ObjectState& recorded) {
  return HasSameSizeAndTime(info, recorded) && IsObjectInState(info, recorded);
}

bool HasSameSizeAndTime(const struct statx& info, const ObjectState& recorded) {
  const ObjectState state = ObjectStateOf(info);
  return state.type == recorded.type && state.size == recorded.size &&
         state.modified == recorded.modified;
}

}  // namespace tessary
