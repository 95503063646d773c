#include "platform/managers/item_details.h"

#include <sys/stat.h>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/comment_attribute.h"
#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/catalog/finder_info.h"
#include "platform/linux/catalog/item_kind.h"
#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

Status ReadCommentOf(const Place& place, NodeKind kind, ItemDetails* details) {
  if (kind != NodeKind::kFile && kind != NodeKind::kFolder) return noErr;
  std::optional<std::string> comment;
  const Status status = ReadComment(place, &comment, &details->commentOrigin);
  if (status == noErr && comment) details->comment = Utf16FromUtf8(*comment);
  return status;
}

void ReadDates(const Place& place, ItemDetails* details) {
  struct statx info = {};
  constexpr unsigned kDates = STATX_MTIME | STATX_BTIME | STATX_INO;
  // A dangling link has no dates.
  if (statx(place.descriptor(), place.name.c_str(), 0, kDates, &info) != 0) return;
  details->modificationDate = Timestamp{info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec};
  details->creationDate = CreationDateAt(place, info, &details->creationDateOrigin);
  if (!details->creationDate) details->creationDateOrigin.clear();
}

}  // namespace

Status CopyItemDetails(const FSRef& ref, ItemDetails* details) {
  if (details == nullptr) return paramErr;
  const Reference reference = ReferenceOf(ref);
  if (reference.parent != 0) ScanForSidecars(reference.parent);
  const CachedStat* cached = nullptr;
  Status status = Catalog::Get().Stat(reference, &cached);
  if (status != noErr) return status;
  const Place& place = cached->place;
  const NodeKind kind = KindOf(cached->info);
  ItemDetails found;
  found.kind = ItemKindOf(kind);
  ExtendedFileInfo extended;
  status = ReadFinderInfo(place, kind, &found.finderInfo, &extended, &found.finderInfoOrigin);
  if (status == noErr) status = ReadCommentOf(place, kind, &found);
  if (status != noErr) return status;
  ReadDates(place, &found);
  *details = std::move(found);
  return noErr;
}

std::string FormatTimestamp(const Timestamp& instant) { return FormatCreationDate(instant); }

}  // namespace tessary
