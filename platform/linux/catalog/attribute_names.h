#pragma once

#include <array>
#include <string>
#include <string_view>

#include "platform/linux/catalog/place_attributes.h"
#include "platform/managers/status.h"

namespace tessary {

// The attribute in which desktop programs keep an item's comment, UTF-8.
inline constexpr char kCommentAttribute[] = "user.xdg.comment";

// The names of an object's extended attributes, from one listing. A caller that looks for several
// attributes lists the names once and reads only those that exist: most objects have none.
class AttributeNames {
 public:
  // Lists the attributes of the object at a place. Within an FSStatCacheScope an object is listed
  // only once. Returns noErr, also if the filesystem has no attributes; otherwise a filesystem
  // error, and the list is empty.
  Status Read(const Place& place, LinkHandling linkHandling = LinkHandling::kNoFollow);

  bool IsEmpty() const { return names_.empty(); }
  bool Has(std::string_view name) const;

 private:
  Status List(const Place& place, LinkHandling linkHandling);

  std::array<char, 1024> small_;  // enough for nearly every object, without an allocation
  std::string large_;
  std::string_view names_;  // each followed by a zero byte; points into small_ or large_
};

}  // namespace tessary
