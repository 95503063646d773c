#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/catalog/place.h"

namespace tessary {

// What was seen of one object.
struct Look {
  uint32_t folder = 0;  // the number of the interned folder that holds it
  Place place;
  struct statx info = {};
  std::optional<std::string> attributes;  // their names, each with a zero byte behind it
};

// What has been seen since the step that is under way began (FSStep), so that it is not looked at
// twice. Remembers nothing outside of a step, and few objects within one.
class StepMemory {
 public:
  // Steps within one another: each begins and ends with nothing remembered.
  void Begin();
  void End();

  // What was seen of the object of that name in an interned folder, or null. Valid until the next
  // call that changes the memory.
  Look* Find(uint32_t folder, std::string_view name);

  // The same of the object at a place, where the place is one that was found in the step.
  Look* Find(const Place& place);

  // Keeps in mind what was seen there just now.
  void Remember(uint32_t folder, Place place, const struct statx& info);

  // Forgets what was seen there, because it is about to change.
  void Forget(uint32_t folder, std::string_view name);

 private:
  size_t depth_ = 0;
  std::vector<Look> looks_;
};

}  // namespace tessary
