#include "engine/items.h"

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "engine/classification.h"
#include "platform/file_system.h"

namespace tessary {
namespace {

// The folder's children; null where it cannot be listed.
std::unique_ptr<FSRefBlock> ListChildren(const FSRef& folder, Status* status) {
  std::unique_ptr<FSRefBlock> children;
  uint32_t count = 0;
  uint8_t containerChanged = 0;
  const Status result = ListFolderItems(folder, &children, &count, &containerChanged);
  if (status != nullptr) *status = result;
  return result == noErr ? std::move(children) : nullptr;
}

}  // namespace

std::optional<std::vector<FSRef>> ListFolderFiles(const FSRef& folder, Status* status) try {
  const std::unique_ptr<FSRefBlock> children = ListChildren(folder, status);
  if (children == nullptr) return std::nullopt;
  std::vector<FSRef> files;
  files.reserve(children->size());
  for (const FSRef& child : *children) {
    if (!IsPlainFolder(child)) files.push_back(child);
  }
  if (files.empty()) return std::nullopt;
  return files;
} catch (const std::bad_alloc&) {
  if (status != nullptr) *status = memFullErr;
  return std::nullopt;
}

std::optional<std::vector<FSRef>> CopyFolderItems(const FSRef& folder, Status* status) try {
  const std::unique_ptr<FSRefBlock> children = ListChildren(folder, status);
  if (children == nullptr || children->size() == 0) return std::nullopt;
  return std::vector<FSRef>(children->begin(), children->end());
} catch (const std::bad_alloc&) {
  if (status != nullptr) *status = memFullErr;
  return std::nullopt;
}

bool IsHiddenItem(const FSRef& item) {
  FileInfo info;
  uint8_t isFolder = 0;
  if (GetFinderInfo(item, &info, nullptr, &isFolder) == noErr && isFolder == 0 &&
      (info.finderFlags & kIsInvisible) != 0) {
    return true;
  }
  const std::optional<std::u16string> name = GetItemNameString(item);
  return name && name->starts_with(u'.');
}

Status WhyUnreadable(const FSRef& item) {
  const Status status = GetNodeIdAndKind(item, nullptr, nullptr);
  return status != noErr ? status : bdNamErr;
}

std::optional<std::u16string> GetItemNameString(const FSRef& item) {
  std::u16string name;
  if (GetItemName(item, &name) != noErr) return std::nullopt;
  return name;
}

}  // namespace tessary
