#include <fcntl.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copy_ahead.h"
#include "platform/linux/changes/folder_inheritance.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/operations/planned_operations.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

// Only local filesystems: on others, attributes may be out of date, errors be reported late, and
// inode numbers change.
bool IsLocal(uint32_t device, const FolderHandle& folder) {
  return VolumeOf(device, folder->get()).hasReliableEntries;
}

// Finds the file to prepare for a listed item. Returns none for an item that is not worth it, or
// that a run never copies: one with a leading dot is hidden.
std::optional<FileToPrepare> FindFileToPrepare(const FSRef& item) {
  const Reference reference = ReferenceOf(item);
  if (reference.kind != NodeKind::kFile) return std::nullopt;
  Place place;
  if (Catalog::Get().Find(reference, &place) != noErr || place.name.starts_with('.')) {
    return std::nullopt;
  }
  if (!IsLocal(reference.device, place.folder)) return std::nullopt;
  return FileToPrepare{std::move(place.folder), std::move(place.name), reference.GetIdentity()};
}

}  // namespace

FSCopyAhead::FSCopyAhead(const FSRef* items, size_t count, const FSRef& folder)
    : items_(items), count_(count), folder_(folder) {}

FSCopyAhead::~FSCopyAhead() = default;

void FSCopyAhead::WillCopy(const FSRef& item) try {
  const auto number = static_cast<size_t>(&item - items_);
  next_ = std::max(next_, number + 1);
  if (!isTried_) Start();
  if (ahead_) Plan(ahead_->BeginTurn(number));
} catch (const std::exception&) {
  // There is no memory or no thread for it. The items are copied without.
  ahead_.reset();
}

// A thread does not pay for a single file, or on a single processor.
void FSCopyAhead::Start() {
  constexpr size_t kMinCount = 2;
  isTried_ = true;
  // A dry run copies nothing.
  if (PlannedOperations::Current() != nullptr) return;
  if (count_ - next_ < kMinCount || AreCopiesPrepared() || !HasSecondProcessor()) return;
  const Reference reference = ReferenceOf(folder_);
  uint32_t number = 0;
  FolderHandle folder;
  if (Catalog::Get().OpenFolder(reference, &number, &folder) != noErr) return;
  if (!IsLocal(reference.device, folder)) return;
  const UniqueFd readable(openat(folder->get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::optional<FolderInheritance> inheritance =
      readable ? ReadInheritance(readable.get(), reference.device) : std::nullopt;
  if (!inheritance) return;
  ahead_ = std::make_unique<CopyAhead>(std::move(folder), *std::move(inheritance));
}

// Adds the next files, at most `count` of them.
void FSCopyAhead::Plan(size_t count) {
  std::vector<CopyAhead::Entry> entries;
  for (; entries.size() < count && next_ < count_; ++next_) {
    std::optional<FileToPrepare> file = FindFileToPrepare(items_[next_]);
    if (file) entries.push_back({next_, *std::move(file)});
  }
  if (!entries.empty()) ahead_->Add(std::move(entries));
}

}  // namespace tessary
