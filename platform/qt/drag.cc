#include "platform/qt/drag.h"

#include <QByteArray>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "platform/qt/file_uris.h"

namespace tessary {
namespace {

Status MakeFlavor(const std::string& path, HFSFlavor* flavor) {
  // The file specification is good for longer than the reference that it is made of.
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
  // The bytes as they came: as URLs of Qt, escapes that are not UTF-8 would be lost.
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
  // What went away since the drag was read has the flavor no more.
  return MakeFlavor(*paths_[item - 1], flavor) == noErr ? noErr : badDragFlavorErr;
}

}  // namespace tessary
