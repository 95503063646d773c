#include "platform/linux/changes/pair_mending.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/catalog/sidecars.h"
#include "platform/linux/changes/hidden_name.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/pair_record.h"
#include "platform/linux/changes/publish.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/quiet_open.h"
#include "platform/linux/unique_fd.h"

namespace tessary {
namespace {

std::optional<struct statx> Look(int folder, const std::string& name) {
  struct statx info = {};
  if (ReadObjectInfo(folder, name.c_str(), &info) != noErr) return std::nullopt;
  return info;
}

bool IsSame(const std::optional<struct statx>& info, const ObjectMark& mark) {
  return info && (mark.IsOf(*info) || mark.IsLike(*info));
}

bool IsUntouched(const std::optional<struct statx>& info, const ObjectMark& mark) {
  return info && mark.IsOf(*info) && mark.IsLike(*info);
}

bool IsOneFile(const std::optional<struct statx>& one, const std::optional<struct statx>& other) {
  return one && other && one->stx_nlink > 1 && Identity::Of(*one).Matches(Identity::Of(*other));
}

bool IsEmpty(int folder, const std::string& name, const struct statx& info) {
  if (S_ISREG(info.stx_mode)) return info.stx_size == 0;
  if (!S_ISDIR(info.stx_mode)) return false;
  const UniqueFd opened = OpenQuietly(folder, name.c_str(), O_DIRECTORY | O_NOFOLLOW);
  std::vector<std::string> names;
  return opened && ReadFolderNames(opened.get(), nullptr, &names) == noErr && names.empty();
}

// A record that was found, and the folder that it lies in.
class Mending {
 public:
  Mending(int folder, const std::string& recordName, PairIntent intent)
      : folder_(folder),
        intent_(std::move(intent)),
        sidecar_(SidecarName(intent_.name)),
        newSidecar_(SidecarName(intent_.newName)),
        itemAside_(ItemAsideName(recordName)),
        sidecarAside_(SidecarAsideName(recordName)) {}

  // True when nothing is left to be done.
  bool Run() {
    switch (intent_.change) {
      case PairChange::kMove:
        return FinishMove();
      case PairChange::kMoveAcross:
        return FinishMoveAcross();
      case PairChange::kCopy:
        return FinishCopy();
      case PairChange::kArrival:
        return MendOther();
      case PairChange::kDelete:
        break;
    }
    return FinishDeletion();
  }

 private:
  bool FinishMove() {
    UniqueFd target;
    if (!OpenOther(&target)) return false;
    // The record of an arrival, to which nothing else may lead again.
    if (target) MendPairs(target.get());
    if (!IsSame(Look(folder_, intent_.name), intent_.item)) return true;
    const std::optional<struct statx> there = Look(target.get(), newSidecar_);
    if (!target || !IsSame(there, intent_.sidecar)) return true;
    // Where a volume renames by a second link, both names can be one file's: the item has arrived.
    if (IsOneFile(Look(folder_, intent_.name), Look(target.get(), intent_.newName))) {
      return unlinkat(folder_, intent_.name.c_str(), 0) == 0;
    }
    const std::optional<struct statx> here = Look(folder_, sidecar_);
    if (!here) return Rename(target.get(), newSidecar_, sidecar_);
    return !IsOneFile(here, there) || unlinkat(target.get(), newSidecar_.c_str(), 0) == 0;
  }

  bool FinishMoveAcross() {
    UniqueFd target;
    if (!OpenOther(&target)) return false;
    // The record of the copies comes first, as nothing else may lead there again.
    if (target) MendPairs(target.get());
    const bool isCopied = IsLike(Look(target.get(), intent_.newName), intent_.item) &&
                          IsLike(Look(target.get(), newSidecar_), intent_.sidecar);
    const bool isInPlace = IsSame(Look(folder_, intent_.name), intent_.item);
    const std::optional<struct statx> item = Look(folder_, itemAside_);
    return DeleteOrGiveBack(isCopied && !isInPlace && (!item || IsUntouched(item, intent_.item)));
  }

  // The sidecar's copy is published first; whatever bears the item's name has come after it. As
  // long as both copies are here, they show that of a pair that is deleted there the rest may go,
  // too.
  bool FinishCopy() {
    const std::optional<struct statx> item = Look(folder_, intent_.newName);
    // An empty object is no copy of another: on a volume that renames onto one, it is what has held
    // the name.
    const bool isCopied =
        item && (IsLike(item, intent_.item) || !IsEmpty(folder_, intent_.newName, *item));
    if (isCopied) return MendOther();
    if (!IsLike(Look(folder_, newSidecar_), intent_.sidecar)) return true;
    return unlinkat(folder_, newSidecar_.c_str(), 0) == 0;
  }

  // The folder that the two have left, where it is told, by the records there.
  bool MendOther() const {
    UniqueFd other;
    if (!OpenOther(&other)) return false;
    if (other) MendPairs(other.get());
    return true;
  }

  // What was put aside may be another object that had just got the item's name, and stays.
  bool FinishDeletion() {
    return DeleteOrGiveBack(IsUntouched(Look(folder_, itemAside_), intent_.item));
  }

  // The item goes last: as long as it is there, it says what is to be done.
  bool DeleteOrGiveBack(bool isToGo) {
    return SettleAside(sidecarAside_, sidecar_, intent_.sidecar, isToGo) &&
           SettleAside(itemAside_, intent_.name, intent_.item, isToGo);
  }

  bool SettleAside(const std::string& aside, const std::string& name, const ObjectMark& mark,
                   bool isToGo) const {
    const std::optional<struct statx> info = Look(folder_, aside);
    if (!info) return true;
    // Renamed by a second link, it may still have its own name, too; renamed onto a placeholder, it
    // may not have come.
    const std::optional<struct statx> own = Look(folder_, name);
    const bool hasStayed =
        IsOneFile(info, own) || (IsSame(own, mark) && IsEmpty(folder_, aside, *info));
    if (isToGo || hasStayed) return unlinkat(folder_, aside.c_str(), 0) == 0;
    return Rename(folder_, aside, name);
  }

  static bool IsLike(const std::optional<struct statx>& info, const ObjectMark& mark) {
    return info && mark.IsLike(*info);
  }

  // False where the folder may be there but cannot be opened; it is not open where there is none.
  bool OpenOther(UniqueFd* other) const {
    *other = UniqueFd(open(intent_.otherPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return *other || errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG;
  }

  // To a name in the record's folder. Where it has been taken meanwhile, what was hidden gets a
  // name that people see.
  bool Rename(int fromFolder, const std::string& from, const std::string& to) const {
    Status status = RenameWithoutReplacing(fromFolder, from.c_str(), folder_, to.c_str());
    if (status != dupFNErr) return status == noErr;
    if (from != sidecarAside_) return true;
    status = RenameWithoutReplacing(fromFolder, from.c_str(), folder_, from.c_str() + 1);
    return status == noErr;
  }

  int folder_;
  PairIntent intent_;
  std::string sidecar_;
  std::string newSidecar_;
  std::string itemAside_;
  std::string sidecarAside_;
};

// No record is larger than the names and the path in it, whatever lies there under such a name.
std::string ReadRecord(int file) {
  constexpr size_t kLargestRecord = size_t{1} << 20U;
  std::string bytes;
  std::array<char, 16'384> buffer = {};
  ssize_t size = 0;
  while (bytes.size() < kLargestRecord && (size = read(file, buffer.data(), buffer.size())) > 0) {
    bytes.append(buffer.data(), static_cast<size_t>(size));
  }
  return bytes;
}

void MendPair(int folder, const std::string& name) {
  const UniqueFd file(
      openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct statx info = {};
  if (!file || ReadObjectInfo(file.get(), "", &info) != noErr) return;
  // What a record of another user says could make us move what only we may.
  if (!S_ISREG(info.stx_mode) || info.stx_uid != geteuid()) return;
  if (TakeHiddenLock(file.get()) != noErr) return;
  if (!IsNameOf(folder, name.c_str(), Identity::Of(info))) return;
  std::optional<PairIntent> intent = ParsePairIntent(ReadRecord(file.get()));
  // A record that was not written to its end was followed by nothing.
  const bool isDone = !intent || Mending(folder, name, *std::move(intent)).Run();
  if (isDone) unlinkat(folder, name.c_str(), 0);
}

struct Registration {
  Registration() { Catalog::Get().SetPairMender(MendPairs); }
};

const Registration kRegistration;

}  // namespace

void MendPairs(int folder) {
  const UniqueFd opened = OpenQuietly(folder, ".", O_DIRECTORY);
  std::vector<std::string> names;
  if (!opened || ReadFolderNames(opened.get(), IsPairRecordName, &names) != noErr) return;
  for (const std::string& name : names) MendPair(opened.get(), name);
}

}  // namespace tessary
