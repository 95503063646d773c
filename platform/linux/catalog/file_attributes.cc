#include "platform/managers/file_attributes.h"

#include <fcntl.h>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/catalog/paths.h"

namespace tessary {

std::optional<Timestamp> CopyFileDateAtPath(const std::string& path, DateAttribute attribute) {
  uint32_t folder = 0;
  Place place;
  if (FindPlaceOfPath(path, &folder, &place.name) != noErr || folder == 0) return std::nullopt;
  if (Catalog::Get().folders().Open(folder, &place.folder) != noErr) return std::nullopt;
  struct statx info = {};
  const int result = statx(place.descriptor(), place.name.c_str(), 0,
                           STATX_MTIME | STATX_BTIME | STATX_INO, &info);
  if (result != 0) return std::nullopt;
  if (attribute == DateAttribute::NSFileCreationDate) {
    return CreationDateAt(place, info);
  }
  return Timestamp{info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec};
}

}  // namespace tessary
