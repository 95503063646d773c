#include "platform/linux/changes/copy_item.h"

#include <cerrno>
#include <new>
#include <utility>

#include "platform/linux/changes/copy_ahead.h"
#include "platform/linux/changes/copy_file.h"
#include "platform/linux/changes/copy_folder.h"
#include "platform/linux/changes/copy_link.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {
namespace {

// For such a file, copying in vain is not worth a check beforehand.
bool IsSmallFile(const struct statx& source) {
  constexpr uint64_t kMost = 1 << 20;
  return S_ISREG(source.stx_mode) && source.stx_size <= kMost;
}

// Returns dupFNErr or bdNamErr if publishing under the name would fail, before anything is copied
// in vain. Not a guarantee: the name can be used meanwhile, and publishing never replaces anything.
Status CheckTargetNameIsFree(const CopyTarget& target) {
  struct statx info = {};
  const Status status = ReadObjectInfo(target.folder, target.name.c_str(), &info);
  if (status == noErr) return dupFNErr;
  if (status == paramErr) return bdNamErr;
  return status == fnfErr ? noErr : status;
}

}  // namespace

Status CheckItemName(const std::string& name) {
  const bool isOneName = !name.empty() && name != "." && name != ".." &&
                         name.find('/') == std::string::npos &&
                         name.find('\0') == std::string::npos;
  return isOneName ? noErr : bdNamErr;
}

Status FindSource(const CopySource& source, struct statx* info) {
  struct statx found = {};
  if (const Status status = CheckItemName(source.name)) return status;
  if (source.knownStat && S_ISREG(source.knownStat->stx_mode)) {
    found = *source.knownStat;
  } else if (const Status status = ReadObjectInfo(source.folder, source.name.c_str(), &found)) {
    return status;
  }
  if (!Identity::Of(found).Matches(source.identity)) return fnfErr;
  const bool isCopied =
      S_ISREG(found.stx_mode) || S_ISDIR(found.stx_mode) || S_ISLNK(found.stx_mode);
  if (!isCopied) return paramErr;
  *info = found;
  return noErr;
}

Status CopyItem(const CopySource& source, const CopyTarget& target) try {
  CopiedItem copied;
  const Status status = PublishCopy(source, target, CopyRole::kCopiedItem, &copied);
  if (status == noErr) copied.item.Keep();
  return status;
} catch (const std::bad_alloc&) {
  return memFullErr;
}

Status PublishCopy(const CopySource& source, const CopyTarget& target, CopyRole role,
                   CopiedItem* copied) {
  CopiedItem copy;
  if (const Status status = CheckItemName(target.name)) return status;
  if (const Status status = FindSource(source, &copy.source)) return status;
  Status status = IsSmallFile(copy.source) ? noErr : CheckTargetNameIsFree(target);
  if (status != noErr) return status;
  const char* name = source.name.c_str();
  const char* toName = target.name.c_str();
  if (S_ISREG(copy.source.stx_mode)) {
    if (role == CopyRole::kCopiedItem) {
      if (const auto published = PublishPreparedCopy(source, target, copied)) return *published;
    }
    UniqueFd from;
    status = OpenSourceFile(source.folder, name, Identity::Of(copy.source), &copy.source, &from);
    if (status == noErr) status = CopyOpenFile(from.get(), target.folder, toName, role, &copy);
  } else if (S_ISLNK(copy.source.stx_mode)) {
    status = CopyLink(source.folder, name, target.folder, toName, &copy);
  } else {
    status = CopyFolder(source.folder, name, target.folder, toName, role, &copy);
  }
  if (status == noErr) *copied = std::move(copy);
  return status;
}

Status PublishSmallCopy(const CopySource& source, const CopyTarget& target, CopiedItem* copied) {
  UniqueFd from;
  if (const Status status = CheckItemName(target.name)) return status;
  if (const auto published = PublishPreparedCopy(source, target, copied)) return *published;
  // The name is checked before the file is copied, although it is small: the caller has not looked
  // it up, so that an existing one is not the rare case.
  if (const Status status = CheckTargetNameIsFree(target)) return status;
  const char* name = source.name.c_str();
  const Status status =
      OpenSourceFile(source.folder, name, source.identity, &copied->source, &from);
  if (status != noErr) return status;
  if (!IsSmallFile(copied->source)) return paramErr;
  const char* toName = target.name.c_str();
  return CopyOpenFile(from.get(), target.folder, toName, CopyRole::kCopiedItem, copied);
}

}  // namespace tessary
