#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

constexpr size_t kBufferSize = 65'536;
constexpr unsigned kTimesMask = STATX_MTIME | STATX_CTIME;

NodeKind KindOfEntry(unsigned char type) {
  switch (type) {
    case DT_REG:
      return NodeKind::kFile;
    case DT_LNK:
      return NodeKind::kLink;
    case DT_DIR:
      return NodeKind::kFolder;
    default:
      return NodeKind::kSpecial;
  }
}

}  // namespace

class FSIteratorState {
 public:
  FSIteratorState(uint32_t folder, uint32_t device, const Volume& volume, UniqueFd descriptor)
      : folder_(folder), device_(device), volume_(volume), descriptor_(std::move(descriptor)) {
    if (const PlannedItems* plan = Catalog::Get().planned()) planned_ = plan->ItemsIn(folder);
  }

  // Remembers the folder's times, by which Refill sees that the folder has changed. A folder
  // without a descriptor is only planned.
  Status Start() {
    isRead_ = !descriptor_;
    return isRead_ ? noErr : StatTimes(&times_);
  }

  Status Deliver(size_t maximum, size_t* actual, bool* changed, FSRef* refs) {
    while (*actual < maximum) {
      if (position_ == filled_) {
        const Status status = isRead_ ? errFSNoMoreItems : Refill(changed);
        if (status == errFSNoMoreItems && !planned_.empty()) {
          refs[(*actual)++] = RefOf(planned_.back());
          planned_.pop_back();
          continue;
        }
        if (status != noErr) return status;
      }
      Reference reference;
      const Status status = Next(&reference);
      if (status == errFSNoMoreItems) continue;
      if (status != noErr) return status;
      refs[(*actual)++] = RefOf(reference);
    }
    return noErr;
  }

 private:
  Status StatTimes(struct statx* info) const {
    return statx(descriptor_.get(), "", AT_EMPTY_PATH, kTimesMask, info) == 0 ? noErr : LastError();
  }

  // Reads the next entries. errFSNoMoreItems at the end of the folder.
  Status Refill(bool* changed) {
    struct statx info = {};
    const Status status = StatTimes(&info);
    if (status != noErr) return status;
    if (!IsSameTime(info.stx_mtime, times_.stx_mtime) ||
        !IsSameTime(info.stx_ctime, times_.stx_ctime)) {
      *changed = true;
    }
    times_ = info;
    const ssize_t size = getdents64(descriptor_.get(), buffer_.data(), buffer_.size());
    if (size < 0) return LastError();
    if (size == 0) {
      Catalog::Get().folders().NoteListed(folder_);
      isRead_ = true;
      return errFSNoMoreItems;
    }
    position_ = 0;
    filled_ = static_cast<size_t>(size);
    return noErr;
  }

  // Makes the next entry's reference. errFSNoMoreItems if the entry is not a child of the folder,
  // or no longer.
  Status Next(Reference* reference) {
    const auto* entry = reinterpret_cast<const dirent64*>(buffer_.data() + position_);
    position_ += entry->d_reclen;
    const std::string_view name(entry->d_name);
    if (name == "." || name == "..") return errFSNoMoreItems;
    // Moved away or deleted by the plan, or listed with what it has put here.
    const PlannedItems* plan = Catalog::Get().planned();
    if (plan != nullptr && plan->Covers(folder_, name)) return errFSNoMoreItems;
    if (IsSidecarName(name)) Catalog::Get().folders().NoteSidecar(folder_);
    const bool isReliable =
        volume_.hasReliableEntries && entry->d_type != DT_DIR && entry->d_type != DT_UNKNOWN;
    if (isReliable) {
      *reference = ReferenceOfEntry(*entry);
      return noErr;
    }
    struct statx info = {};
    if (statx(descriptor_.get(), entry->d_name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
              kIdentityMask, &info) == 0) {
      *reference = Catalog::Get().MakeReference(folder_, name, info);
      return noErr;
    }
    if (errno == ENOENT) return errFSNoMoreItems;
    // A child that cannot be examined is described by its entry, so that the rest of the folder can
    // be listed: the mount point of another user's filesystem (EACCES) or of a driver that has
    // crashed (ENOTCONN), or a damaged folder (EUCLEAN, EIO).
    *reference = ReferenceOfEntry(*entry);
    return noErr;
  }

  Reference ReferenceOfEntry(const dirent64& entry) const {
    Reference reference;
    reference.inode = entry.d_ino;
    reference.device = device_;
    reference.parent = folder_;
    reference.kind = KindOfEntry(entry.d_type);
    Catalog::Get().names().SetName(&reference, entry.d_name);
    return reference;
  }

  uint32_t folder_;
  uint32_t device_;
  Volume volume_;
  UniqueFd descriptor_;
  struct statx times_ = {};
  std::vector<Reference> planned_;  // what a dry run has put into the folder, and is not delivered
  bool isRead_ = false;             // the folder has been read to its end
  size_t position_ = 0;
  size_t filled_ = 0;
  alignas(dirent64) std::array<char, kBufferSize> buffer_;
};

void FSIteratorDeleter::operator()(FSIteratorState* state) const { delete state; }

Status FSOpenIterator(const FSRef& folder, FSIterator* iterator) {
  if (iterator == nullptr) return paramErr;
  const Reference reference = ReferenceOf(folder);
  uint32_t number = 0;
  FolderHandle handle;
  Status status = Catalog::Get().OpenFolder(reference, &number, &handle);
  if (status != noErr) return status;
  const bool isPlanned = Catalog::Get().folders().IsPlanned(number);
  UniqueFd opened = isPlanned ? UniqueFd() : OpenWithoutAtime(handle->get(), ".", O_DIRECTORY);
  if (!opened && !isPlanned) return LastError();
  const Volume& volume = VolumeOf(reference.device, handle->get());
  FSIterator state(new FSIteratorState(number, reference.device, volume, std::move(opened)));
  status = state->Start();
  if (status == noErr) *iterator = std::move(state);
  return status;
}

Status FSGetCatalogInfoBulk(FSIteratorState& iterator, size_t maximum, size_t* actual,
                            bool* containerChanged, FSRef* refs) {
  if (actual == nullptr || containerChanged == nullptr || refs == nullptr || maximum == 0) {
    return paramErr;
  }
  *actual = 0;
  *containerChanged = false;
  const Status status = iterator.Deliver(maximum, actual, containerChanged, refs);
  if (status != noErr && status != errFSNoMoreItems) *actual = 0;
  return status;
}

Status FSCloseIterator(FSIterator* iterator) {
  if (iterator == nullptr || *iterator == nullptr) return paramErr;
  iterator->reset();
  return noErr;
}

}  // namespace tessary
