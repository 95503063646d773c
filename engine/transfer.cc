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

// Logs that the item is in the folder. Returns its name there, or an empty one if it has none.
std::u16string LogMoved(const FSRef& newItem, const FSRef& folder) {
  std::optional<std::u16string> itemName = GetItemNameString(newItem);
  if (!itemName) return {};
  const std::optional<std::u16string> folderName = GetItemNameString(folder);
  if (!folderName) return *std::move(itemName);
  const std::string item = Utf8FromUtf16(*itemName);
  const std::string key = Utf8FromUtf16(*folderName);
  constexpr std::string_view kBegin = "Moved \"";
  constexpr std::string_view kBetween = "\" to \"";
  std::string line;
  line.reserve(kBegin.size() + item.size() + kBetween.size() + key.size() + 1);
  line.append(kBegin).append(item).append(kBetween).append(key).push_back('"');
  LogSuccess(line);
  return *std::move(itemName);
}

// Unlinks an item that the catalog could not delete. Returns true if it is gone.
bool UnlinkItem(const FSRef& item) {
  std::array<char, kUnlinkPathSize> path;
  if (FSRefMakePath(item, path.data(), path.size()) != noErr) return false;
  const int error = PosixUnlink(path.data());
  if (error == 0) return true;
  NSLog(std::string("unlink error: ") + std::strerror(error));
  return false;
}

std::u16string RemoveExtension(std::u16string name, const std::u16string& extension) {
  const std::u16string suffix = u"." + extension;
  const size_t position = name.rfind(suffix);
  if (position != std::u16string::npos) name.erase(position, suffix.size());
  return name;
}

}  // namespace

bool TryFastTransfer(const FSRef& item, const FSRef& parent, const FSRef& folder, bool copy,
                     TransferResult* result) {
  if (FSMayBeFolder(item) || !FSIsFSRefValid(folder)) return false;
  if (FSCompareFSRefs(folder, parent) == noErr) {
    *result = {.outcome = ItemOutcome::kSkipped};
    return true;
  }
  if (GetPreserveComments()) return false;
  FSRef newItem;
  // The name is not looked up first: both fail without a change if it exists.
  const Status status =
      copy ? FSTryFastCopy(item, folder, &newItem) : FSTryFastMove(item, folder, &newItem);
  if (status != noErr) return false;
  *result = {.outcome = ItemOutcome::kFiled, .newName = LogMoved(newItem, folder)};
  return true;
}

bool TransferItemAtPath(const std::string& itemPath, const std::string& folderPath, bool copy,
                        TransferResult* result) {
  const FSStatCacheScope statCache;
  FSRef item;
  Status status = FSPathMakeRef(itemPath.c_str(), &item);
  if (status != noErr) {
    if (result != nullptr) *result = {.status = status};
    return false;
  }
  FSRef folder;
  status = FSPathMakeRef(folderPath.c_str(), &folder);
  if (status != noErr) {
    NSLog("An error occurred moving an object. Error number = " + std::to_string(status));
    if (result != nullptr) *result = {.status = status};
    return false;
  }
  FSRef newItem;
  return TransferItem(item, folder, &newItem, copy, result) == noErr;
}

Status TransferItem(const FSRef& item, const FSRef& folder, FSRef* newItem, bool copy,
                    TransferResult* result) {
  TransferResult ignored;
  if (result == nullptr) result = &ignored;
  *result = {.status = paramErr};
  if (newItem == nullptr) return paramErr;
  FSRef parent;
  result->status = GetParentFolder(item, &parent);
  if (result->status != noErr) return result->status;
  if (FSCompareFSRefs(folder, parent) == noErr) {
    result->outcome = ItemOutcome::kSkipped;
    return noErr;
  }

  // Whether or not an item was deleted, MakeDistinctName looks the name up.
  (void)RemoveSameNamedItem(item, folder, &result->replace);
  const std::optional<std::u16string> distinctName = MakeDistinctName(folder, item);
  // Read before a move, while the item's path is valid.
  const std::optional<std::u16string> comment =
      GetPreserveComments() ? CopyFinderCommentOrNull(item) : std::nullopt;
  const std::u16string* newName = distinctName ? &*distinctName : nullptr;
  result->status = copy ? FSCopyObjectSync(item, folder, newName, newItem)
                        : FSMoveObjectSync(item, folder, newName, newItem);
  if (result->status != noErr) {
    NSLog("An error occurred: " + std::to_string(result->status));
    return result->status;
  }
  // An item whose comment could not be written counts as failed, and yet is logged as moved,
  // because it is in the folder.
  if (comment) result->status = SetFinderComment(newItem, &*comment, gWaitIdleUPP);
  result->outcome = result->status == noErr ? ItemOutcome::kFiled : ItemOutcome::kCommentNotCopied;
  result->newName = LogMoved(*newItem, folder);
  return result->status;
}

bool RemoveSameNamedItem(const FSRef& item, const FSRef& folder, Status* status) {
  const std::optional<std::u16string> name = GetItemNameString(item);
  if (!name) return false;
  FSRef existing;
  if (!MakeChildRef(folder, *name, &existing)) return false;
  if (!GetReplaceFilesBySameName()) return false;
  const Status deletion = FSDeleteObject(existing);
  if (deletion == noErr || UnlinkItem(existing)) return true;
  if (status != nullptr) *status = deletion;
  return false;
}

std::optional<std::u16string> MakeDistinctName(const FSRef& folder, const FSRef& item) {
  const std::optional<std::u16string> name = GetItemNameString(item);
  if (!name) return std::nullopt;
  FSRef existing;
  if (!MakeChildRef(folder, *name, &existing) && !FSIsSidecarNameUsed(item, folder, *name)) {
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
