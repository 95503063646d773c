#include "platform/managers/file_attributes.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>

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

// Returns the path that the text of a link leads to in a dry run, in which the link, or what it
// leads to, may be elsewhere than the filesystem has it. None if it is not a link. `folder` is the
// path of the folder that the link is in.
std::optional<std::string> FollowInPlan(const std::string& folder, const Place& place) {
  std::array<char, PATH_MAX> text;
  const ssize_t size = readlinkat(place.descriptor(), place.name.c_str(), text.data(), text.size());
  if (size <= 0) return std::nullopt;
  const std::filesystem::path target(std::string(text.data(), static_cast<size_t>(size)));
  return (std::filesystem::path(folder) / target).lexically_normal().string();
}

Status ReadDates(const std::string& path, Place* place, struct statx* info, int links = 0) {
  constexpr int kMaxLinks = 40;  // as in the kernel
  uint32_t folder = 0;
  std::string name;
  Catalog& catalog = Catalog::Get();
  Status status = FindPlaceOfPath(path, &folder, &name);
  if (status == noErr && folder == 0) status = paramErr;
  if (status == noErr) status = catalog.FindPlace(folder, name, place);
  if (status != noErr) return status;
  // Dates follow links, and the cached stat of a link is that of the link itself.
  const CachedStat* cached = catalog.stats().Find(folder, name);
  if (cached != nullptr && KindOf(cached->info) != NodeKind::kLink) {
    *info = cached->info;
    return noErr;
  }
  if (catalog.planned() != nullptr) {
    if (const auto target = FollowInPlan(catalog.folders().PathOf(folder), *place)) {
      const Status followed =
          links < kMaxLinks ? ReadDates(*target, place, info, links + 1) : fnfErr;
      // What statx reports for a link that leads to nothing, or in a loop, or too far.
      const bool isDangling = followed == dirNFErr || followed == bdNamErr || followed == ioErr;
      return isDangling ? fnfErr : followed;
    }
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
