#pragma once

#include <array>
#include <string>
#include <string_view>

#include "platform/linux/catalog/place_attributes.h"
#include "platform/managers/status.h"

namespace tessary {

// The attribute in which desktop programs keep an item's comment, UTF-8.
inline constexpr char kCommentAttribute[] = "user.xdg.comment";

// The names of an object's attributes, by one listing of them. Most objects have few, for which
// nothing is allocated.
class AttributeNames {
 public:
  // Lists those of the object at a place, once in a step. noErr, also for a volume that has no
  // attributes; else what the file system reports, and then there are none.
  Status Read(const Place& place, LinkHandling linkHandling = LinkHandling::kNoFollow);

  bool IsEmpty() const { return names_.empty(); }
  bool Has(std::string_view name) const;

 private:
  Status List(const Place& place, LinkHandling linkHandling);

  std::array<char, 1024> small_;
  std::string large_;
  std::string_view names_;  // each with a terminating zero, in one of the two
};

}  // namespace tessary
