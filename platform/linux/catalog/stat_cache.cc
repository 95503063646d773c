#include "platform/linux/catalog/stat_cache.h"

#include <algorithm>

namespace tessary {

void StatCache::Begin() {
  ++depth_;
  Clear();
}

void StatCache::End() {
  --depth_;
  Clear();
}

CachedStat* StatCache::Find(uint32_t folder, std::string_view name) {
  for (size_t i = 0; i < used_ && folder != 0; ++i) {
    if (entries_[i].folder == folder && entries_[i].place.name == name) return &entries_[i];
  }
  return nullptr;
}

CachedStat* StatCache::Find(const Place& place) {
  for (size_t i = 0; i < used_; ++i) {
    CachedStat& cached = entries_[i];
    if (cached.folder == 0 || cached.place.folder != place.folder) continue;
    if (cached.place.name == place.name) return &cached;
  }
  return nullptr;
}

CachedStat* StatCache::NewEntry(uint32_t folder, std::string_view name) {
  Forget(folder, name);
  const auto isFree = [](const CachedStat& cached) { return cached.folder == 0; };
  CachedStat* entry = &*std::find_if(entries_.begin(), entries_.end(), isFree);
  entry->place.name = name;
  entry->place.mayHaveSidecar = false;
  entry->place.planned = PlannedState::kNone;
  entry->attributes.reset();
  return entry;
}

void StatCache::Commit(CachedStat* entry, uint32_t folder) {
  if (depth_ == 0 || entry == &entries_.back()) return;
  entry->folder = folder;
  used_ = std::max(used_, static_cast<size_t>(entry - entries_.data()) + 1);
}

void StatCache::Insert(uint32_t folder, const Place& place, const struct statx& info) {
  if (depth_ == 0) return;
  CachedStat* entry = NewEntry(folder, place.name);
  entry->place.folder = place.folder;
  entry->place.mayHaveSidecar = place.mayHaveSidecar;
  entry->place.planned = place.planned;
  entry->info = info;
  Commit(entry, folder);
}

void StatCache::Forget(uint32_t folder, std::string_view name) {
  CachedStat* cached = Find(folder, name);
  if (cached != nullptr) cached->folder = 0;
}

void StatCache::CloseUnusedFolders() {
  for (CachedStat& cached : entries_) {
    if (cached.folder == 0) cached.place.folder.reset();
  }
}

// Releases the folders too. Otherwise the cache would keep them open after the folder table closed
// them to save descriptors.
void StatCache::Clear() {
  for (size_t i = 0; i < used_; ++i) {
    entries_[i].folder = 0;
    entries_[i].place.folder.reset();
  }
  used_ = 0;
}

}  // namespace tessary
