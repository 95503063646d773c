#include "engine/transfer.h"

#include <array>
#include <cstring>

#include "engine/items.h"
#include "platform/file_system.h"
#include "platform/finder_comments.h"
#include "platform/managers/log.h"
#include "platform/managers/text.h"
#include "platform/managers/urls.h"
#include "platform/managers/uuid.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

constexpr size_t kUnlinkPathSize = 4096;

void LogMoved(const FSRef& newItem, const FSRef& folder) {
  const std::optional<std::u16string> itemName = GetItemNameString(newItem);
  const std::optional<std::u16string> folderName = GetItemNameString(folder);
  if (!itemName || !folderName) return;
  const std::string item = Utf8FromUtf16(*itemName);
  const std::string key = Utf8FromUtf16(*folderName);
  constexpr std::string_view kBegin = "Moved \"";
  constexpr std::string_view kBetween = "\" to \"";
  std::string line;
  line.reserve(kBegin.size() + item.size() + kBetween.size() + key.size() + 1);
  line.append(kBegin).append(item).append(kBetween).append(key).push_back('"');
  NSLog(line);
}

// Removes the name of an object that the catalog would not delete. True when it is gone.
bool UnlinkItem(const FSRef& item) {
  std::array<char, kUnlinkPathSize> path;
  if (FSRefMakePath(item, path.data(), path.size()) != noErr) return false;
  const int error = PosixUnlink(path.data());
  if (error == 0) return true;
  NSLog(std::string("unlink error: ") + std::strerror(error));
  return false;
}

// Makes way for the item where its name is taken. The distinct name that it needs after that; none
// where it can keep its own.
std::optional<std::u16string> ResolveNameConflict(const FSRef& item, const FSRef& folder) {
  FSRef taken;
  const std::optional<std::u16string> name = GetItemNameString(item);
  if (!name) return std::nullopt;
  const bool nameExists = MakeChildRef(folder, *name, &taken);
  if (!nameExists && !FSHasOrphanedSidecar(folder, *name)) return std::nullopt;
  // Whether it was removed or not, the name is looked up again.
  if (nameExists) (void)RemoveSameNamedItem(item, folder);
  return MakeDistinctName(folder, item);
}

// The name without its last "." and extension.
std::u16string RemoveExtension(std::u16string name, const std::u16string& extension) {
  const std::u16string suffix = u"." + extension;
  const size_t position = name.rfind(suffix);
  if (position != std::u16string::npos) name.erase(position, suffix.size());
  return name;
}

using FastTransfer = Status (*)(const FSRef& item, const FSRef& folder, FSRef* newItem);

bool TryFastTransfer(const FSRef& item, const FSRef& parent, const FSRef& folder,
                     FastTransfer transfer, bool* wasInPlace) {
  *wasInPlace = false;
  if (FSMayBeFolder(item) || !FSIsFSRefValid(folder)) return false;
  if (FSCompareFSRefs(folder, parent) == noErr) {
    *wasInPlace = true;
    return true;
  }
  FSRef newItem;
  if (GetPreserveComments() || transfer(item, folder, &newItem) != noErr) return false;
  LogMoved(newItem, folder);
  return true;
}

}  // namespace

bool TryFastMove(const FSRef& item, const FSRef& parent, const FSRef& folder, bool* wasInPlace) {
  return TryFastTransfer(item, parent, folder, FSTryFastMove, wasInPlace);
}

bool TryFastCopy(const FSRef& item, const FSRef& parent, const FSRef& folder, bool* wasInPlace) {
  return TryFastTransfer(item, parent, folder, FSTryFastCopy, wasInPlace);
}

bool TransferItemAtPath(const std::string& itemPath, const std::string& folderPath, bool copy,
                        bool* wasInPlace) {
  if (wasInPlace != nullptr) *wasInPlace = false;
  const FSStatCacheScope step;
  FSRef item;
  if (FSPathMakeRef(itemPath.c_str(), &item) != noErr) return false;
  FSRef folder;
  const Status status = FSPathMakeRef(folderPath.c_str(), &folder);
  if (status != noErr) {
    NSLog("An error occurred moving an object. Error number = " + std::to_string(status));
    return false;
  }
  FSRef newItem;
  return TransferItem(item, folder, &newItem, copy, wasInPlace) == noErr;
}

Status TransferItem(const FSRef& item, const FSRef& folder, FSRef* newItem, bool copy,
                    bool* wasInPlace) {
  if (wasInPlace != nullptr) *wasInPlace = false;
  if (newItem == nullptr) return paramErr;
  FSRef parent;
  Status status = GetParentFolder(item, &parent);
  if (status != noErr) return status;
  if (FSCompareFSRefs(folder, parent) == noErr) {
    if (wasInPlace != nullptr) *wasInPlace = true;
    return noErr;
  }

  const std::optional<std::u16string> distinctName = ResolveNameConflict(item, folder);
  // Taken while the item still is where it was.
  const std::optional<std::u16string> comment =
      GetPreserveComments() ? CopyFinderCommentOrNull(item) : std::nullopt;
  const std::u16string* newName = distinctName ? &*distinctName : nullptr;
  status = copy ? FSCopyObjectSync(item, folder, newName, newItem)
                : FSMoveObjectSync(item, folder, newName, newItem);
  if (status != noErr) {
    NSLog("An error occurred: " + std::to_string(status));
    return status;
  }
  // An item that has arrived without its comment counts as failed, and is told of as moved.
  if (comment) status = SetFinderComment(newItem, &*comment, gWaitIdleUPP);
  LogMoved(*newItem, folder);
  return status;
}

bool RemoveSameNamedItem(const FSRef& item, const FSRef& folder) {
  const std::optional<std::u16string> name = GetItemNameString(item);
  if (!name) return false;
  FSRef taken;
  if (!MakeChildRef(folder, *name, &taken)) return false;
  if (!GetReplaceFilesBySameName()) return false;
  return FSDeleteObject(taken) == noErr || UnlinkItem(taken);
}

std::optional<std::u16string> MakeDistinctName(const FSRef& folder, const FSRef& item) {
  const std::optional<std::u16string> name = GetItemNameString(item);
  if (!name) return std::nullopt;
  FSRef taken;
  if (!MakeChildRef(folder, *name, &taken) && !FSHasOrphanedSidecar(folder, *name)) {
    return std::nullopt;
  }

  const std::optional<CFURL> url = CFURLCreateFromFSRef(item);
  if (!url) return std::nullopt;
  const std::optional<std::u16string> extension = CFURLCopyPathExtension(*url);
  std::u16string distinctName = extension ? RemoveExtension(*name, *extension) : *name;
  const std::optional<std::string> uuid = CFUUIDCreateString();
  if (!uuid) return std::nullopt;
  if (!distinctName.empty()) distinctName += u" - ";
  distinctName += Utf16FromUtf8(*uuid);
  if (extension) distinctName += u"." + *extension;
  return distinctName;
}

}  // namespace tessary
