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

// What was seen of one object.
struct CachedStat {
  uint32_t folder = 0;  // the number of the interned folder that holds it; 0 for a look not kept
  Place place;
  struct statx info = {};
  std::optional<std::string> attributes;  // their names, each with a zero byte behind it
};

// What has been seen since the step that is under way began (FSStatCacheScope), so that it is not
// looked at twice. Remembers nothing outside of a step, and few objects within one.
class StatCache {
 public:
  // Steps within one another: each begins and ends with nothing remembered.
  void Begin();
  void End();

  // What was seen of the object of that name in an interned folder, or null. Valid until it is
  // forgotten and entry is made for another.
  CachedStat* Find(uint32_t folder, std::string_view name);

  // The same of the object at a place, where the place is one that was found in the step.
  CachedStat* Find(const Place& place);

  // Room for a look at the object of that name, with nothing known of that object any more. To be
  // filled in and then kept. Valid until entry is made for another.
  CachedStat* NewEntry(uint32_t folder, std::string_view name);

  // Keeps in mind what was put into the entry made last for an object in that folder, if this is a
  // step.
  void Commit(CachedStat* entry, uint32_t folder);

  // Keeps in mind what is known of the object there without a look.
  void Insert(uint32_t folder, const Place& place, const struct statx& info);

  // Closes the folders of what was looked at and not kept.
  void CloseUnusedFolders();

  // Forgets what was seen there, because it is about to change.
  void Forget(uint32_t folder, std::string_view name);

 private:
  // An item, the folder that it goes to and what stands in its way there, and some to spare.
  static constexpr size_t kMaxEntries = 6;

  void Clear();

  size_t depth_ = 0;
  size_t used_ = 0;  // how many from the front have been kept since the step began
  // Used again and again, with the memory that their names take: there are some for each item of a
  // run. One is never kept, so that there is always entry.
  std::array<CachedStat, kMaxEntries + 1> entries_;
};

}  // namespace tessary
