#include "platform/managers/launch_services.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/finder_info.h"

namespace tessary {
namespace {

constexpr uint32_t kApplicationType = 0x4150504C;  // 'APPL'

// In lower case.
constexpr auto kPackageExtensions = std::to_array<std::string_view>({
    "app",           "bundle",
    "framework",     "plugin",
    "kext",          "component",
    "prefpane",      "qlgenerator",
    "mdimporter",    "saver",
    "service",       "wdgt",
    "osax",          "pkg",
    "mpkg",          "rtfd",
    "xcodeproj",     "xcworkspace",
    "nib",           "scptd",
    "workflow",      "action",
    "photoslibrary", "photolibrary",
    "aplibrary",     "migratedphotolibrary",
    "imovielibrary", "fcpbundle",
    "logicx",        "band",
    "pages",         "numbers",
    "key",           "key-tef",
    "sparsebundle",  "docset",
    "playground",    "xcarchive",
    "dsym",
});

std::string LowerCaseExtension(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return {};
  std::string extension(name.substr(dot + 1));
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return extension;
}

uint32_t FolderFlags(std::string_view name, const FileInfo& info) {
  const std::string extension = LowerCaseExtension(name);
  const bool hasPackageName = std::find(kPackageExtensions.begin(), kPackageExtensions.end(),
                                        extension) != kPackageExtensions.end();
  if (!hasPackageName && (info.finderFlags & kHasBundle) == 0) return kLSItemInfoIsContainer;
  const uint32_t flags = kLSItemInfoIsContainer | kLSItemInfoIsPackage;
  return extension == "app" ? flags | kLSItemInfoIsApplication : flags;
}

}  // namespace

Status LSCopyItemInfoForRef(const FSRef& item, uint32_t whichInfo, LSItemInfoRecord* info) {
  if (info == nullptr || (whichInfo & (kLSRequestBasicFlagsOnly | kLSRequestAllFlags)) == 0) {
    return paramErr;
  }
  const Reference reference = ReferenceOf(item);
  const CachedStat* cached = nullptr;
  Status status = Catalog::Get().Stat(reference, &cached);
  if (status != noErr) return status;
  FileInfo finderInfo;
  ExtendedFileInfo extendedInfo;
  const NodeKind kind = KindOf(cached->info);
  status = ReadFinderInfo(cached->place, kind, &finderInfo, &extendedInfo);
  if (status != noErr) return status;
  const std::string_view name = Catalog::Get().names().NameOf(reference);
  info->flags = kind == NodeKind::kFolder ? FolderFlags(name, finderInfo) : 0;
  if (finderInfo.fileType == kApplicationType) info->flags |= kLSItemInfoIsApplication;
  return noErr;
}

Status LSCopyDisplayNameForRef(const FSRef& item, std::string* name) {
  if (name == nullptr) return paramErr;
  const CachedStat* cached = nullptr;
  const Status status = Catalog::Get().Stat(ReferenceOf(item), &cached);
  if (status == noErr) *name = cached->place.name;
  return status;
}

}  // namespace tessary
