#include "platform/managers/file_attributes.h"

#include <fcntl.h>

#include <cerrno>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/catalog/paths.h"
#include "platform/linux/catalog/remembered_dates.h"
#include "platform/linux/errors.h"

namespace tessary {

namespace {

// True for the errors of a link that leads to nothing, or in a loop.
bool MeansNoTarget(int error) {
  return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG;
}

Status ReadDates(const std::string& path, Place* place, struct statx* info) {
  uint32_t folder = 0;
  Status status = FindPlaceOfPath(path, &folder, &place->name);
  if (status == noErr && folder == 0) status = paramErr;
  if (status == noErr) status = Catalog::Get().folders().Open(folder, &place->folder);
  if (status != noErr) return status;
  // Dates follow links, and the cached stat of a link is that of the link itself.
  const CachedStat* cached = Catalog::Get().stats().Find(folder, place->name);
  if (cached != nullptr && KindOf(cached->info) != NodeKind::kLink) {
    *info = cached->info;
    return noErr;
  }
  constexpr unsigned kDates = STATX_MTIME | STATX_BTIME | STATX_INO;
  if (statx(place->descriptor(), place->name.c_str(), 0, kDates, info) == 0) return noErr;
  // A dangling link, or a loop, has no date. That is an answer, not a failure.
  return MeansNoTarget(errno) ? fnfErr : LastError();
}

}  // namespace

std::optional<Timestamp> CopyFileDateAtPath(const std::string& path, DateAttribute attribute,
                                            Status* status) {
  Place place;
  struct statx info = {};
  const Status result = ReadDates(path, &place, &info);
  if (status != nullptr) *status = result == fnfErr ? noErr : result;
  if (result != noErr) return std::nullopt;
  if (attribute == DateAttribute::NSFileCreationDate) {
    return CreationDateAt(place, info);
  }
  const auto remembered = RememberedDate(info, DateAttribute::NSFileModificationDate);
  return remembered ? remembered : Timestamp{info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec};
}

}  // namespace tessary
