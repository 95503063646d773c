#pragma once

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/catalog/place.h"

namespace tessary {

// The stat of one object and where it was found.
struct CachedStat {
  uint32_t folder = 0;  // number of the interned folder that holds it; 0 if the entry is not cached
  Place place;
  struct statx info = {};
  std::optional<std::string> attributes;  // names, each followed by a zero byte; none if not listed
};

// The cache behind FSStatCacheScope. It caches only within a scope, and only a few objects: those
// that an item's transfer needs repeatedly. Entries are keyed by folder and name. An entry may be
// out of date, so operations that change an object use Catalog::Restat, and forget what they
// change.
class StatCache {
 public:
  // A scope begins or ends. Either empties the cache; scopes may be nested.
  void Begin();
  void End();

  // The cached entry of that name in an interned folder, or null. Valid until the entry is
  // forgotten or the next NewEntry.
  CachedStat* Find(uint32_t folder, std::string_view name);

  // The cached entry of the object at a place, or null. Compares folder handles, so it may miss an
  // entry whose folder was closed and opened again.
  CachedStat* Find(const Place& place);

  // Returns an empty entry for the object of that name, and forgets a cached one. The caller fills
  // it in and calls Commit; without Commit it is not cached. Valid until the next NewEntry.
  CachedStat* NewEntry(uint32_t folder, std::string_view name);

  // Adds the entry that NewEntry returned last to the cache, if a scope is open and there is room.
  void Commit(CachedStat* entry, uint32_t folder);

  // Adds an object whose stat is known, such as one that was just created.
  void Insert(uint32_t folder, const Place& place, const struct statx& info);

  // Closes the folders of entries that are not cached.
  void CloseUnusedFolders();

  // Removes an entry whose object is about to change.
  void Forget(uint32_t folder, std::string_view name);

 private:
  // The item, its target folder, an existing file of its name there, and some to spare.
  static constexpr size_t kMaxEntries = 6;

  void Clear();

  size_t depth_ = 0;
  size_t used_ = 0;  // all cached entries are among the first `used_`
  // Reused from item to item, so that their names do not allocate each time. The last one is never
  // cached, so that NewEntry always finds a free entry.
  std::array<CachedStat, kMaxEntries + 1> entries_;
};

}  // namespace tessary
