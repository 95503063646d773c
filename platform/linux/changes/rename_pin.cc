#include "platform/linux/changes/rename_pin.h"

#include <fcntl.h>

#include <utility>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/object_info.h"

namespace tessary {

RenamePin::RenamePin(int folder, const char* name) {
  if (!IsAnyOverlayKnown()) return;
  UniqueFd pin(openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  // Without a pin the object is recognised only if its identity stays.
  if (pin && ReadObjectInfo(pin.get(), "", &before_) == noErr) pin_ = std::move(pin);
}

void RenamePin::RestoreIdentity(struct statx* renamed) const {
  struct statx now = {};
  if (!pin_ || ReadObjectInfo(pin_.get(), "", &now) != noErr) return;
  if (!Identity::Of(now).Equals(Identity::Of(*renamed))) return;
  renamed->stx_ino = before_.stx_ino;
  renamed->stx_dev_major = before_.stx_dev_major;
  renamed->stx_dev_minor = before_.stx_dev_minor;
  renamed->stx_btime = before_.stx_btime;
}

}  // namespace tessary
