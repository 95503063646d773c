#include "platform/qt/drag.h"

#include <QByteArray>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "platform/qt/file_uris.h"

namespace tessary {
namespace {

Status MakeFlavor(const std::string& path, HFSFlavor* flavor) {
  // The file specification stays valid after the pool has released the reference.
  const NSAutoreleasePool pool;
  FSRef ref;
  Status status = FSPathMakeRef(path.c_str(), &ref);
  if (status != noErr) return status;
  FSCatalogInfo info;
  HFSFlavor made;
  status = FSGetCatalogInfo(ref, kFSCatInfoFinderInfo, &info, nullptr, &made.fileSpec, nullptr);
  if (status != noErr) return status;
  made.fileType = info.finderInfo.fileType;
  made.fileCreator = info.finderInfo.fileCreator;
  made.fdFlags = info.finderInfo.finderFlags;
  *flavor = made;
  return noErr;
}

}  // namespace

QtDrag::QtDrag(const QMimeData& data) {
  // Reads the raw bytes: QMimeData::urls() would lose escaped bytes that are not UTF-8.
  const QByteArray list = data.data("text/uri-list");
  for (const std::string& uri : SplitUriList(list.toStdString())) {
    paths_.push_back(ResolveFileUri(uri));
  }
}

Status QtDrag::CountDragItems(size_t* count) const {
  if (count == nullptr) return paramErr;
  *count = paths_.size();
  return noErr;
}

bool QtDrag::HasFlavor(size_t item, OSType flavor) const {
  if (flavor != kDragFlavorTypeHFS) return false;
  return item >= 1 && item <= paths_.size() && paths_[item - 1].has_value();
}

Status QtDrag::GetFlavorData(size_t item, HFSFlavor* flavor) const {
  if (flavor == nullptr) return paramErr;
  if (!HasFlavor(item, kDragFlavorTypeHFS)) return badDragFlavorErr;
  // An object that was removed after the drag was read no longer has the flavor.
  return MakeFlavor(*paths_[item - 1], flavor) == noErr ? noErr : badDragFlavorErr;
}

}  // namespace tessary
