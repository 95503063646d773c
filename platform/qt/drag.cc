#include "platform/qt/drag.h"

#include <QByteArray>
#include <string>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "platform/qt/file_uris.h"

namespace tessary {
namespace {

// Returns none if there is no object of that path.
std::optional<HFSFlavor> MakeFlavor(const std::string& path) {
  FSRef ref;
  if (FSPathMakeRef(path.c_str(), &ref) != noErr) return std::nullopt;
  FSCatalogInfo info;
  HFSFlavor flavor;
  const Status status =
      FSGetCatalogInfo(ref, kFSCatInfoFinderInfo, &info, nullptr, &flavor.fileSpec, nullptr);
  if (status != noErr) return std::nullopt;
  flavor.fileType = info.finderInfo.fileType;
  flavor.fileCreator = info.finderInfo.fileCreator;
  flavor.fdFlags = info.finderInfo.finderFlags;
  return flavor;
}

bool HasVanished(const std::optional<HFSFlavor>& item) {
  const NSAutoreleasePool pool;
  FSRef ref;
  return item && FSpMakeFSRef(item->fileSpec, &ref) != noErr;
}

}  // namespace

QtDrag::QtDrag(const QMimeData& data) {
  // Reads the raw bytes: QMimeData::urls() would lose escaped bytes that are not UTF-8.
  const QByteArray list = data.data("text/uri-list");
  for (const std::string& uri : SplitUriList(list.toStdString())) {
    const std::optional<std::string> path = ResolveFileUri(uri);
    items_.push_back(path ? MakeFlavor(*path) : std::nullopt);
  }
}

void QtDrag::RemoveVanished() { std::erase_if(items_, HasVanished); }

Status QtDrag::CountDragItems(size_t* count) const {
  if (count == nullptr) return paramErr;
  *count = items_.size();
  return noErr;
}

bool QtDrag::HasFlavor(size_t item, OSType flavor) const {
  if (flavor != kDragFlavorTypeHFS) return false;
  return item >= 1 && item <= items_.size() && items_[item - 1].has_value();
}

Status QtDrag::GetFlavorData(size_t item, HFSFlavor* flavor) const {
  if (flavor == nullptr) return paramErr;
  if (!HasFlavor(item, kDragFlavorTypeHFS)) return badDragFlavorErr;
  *flavor = *items_[item - 1];
  return noErr;
}

}  // namespace tessary
