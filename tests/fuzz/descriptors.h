#pragma once

#include <algorithm>

#include "platform/managers/apple_events.h"

namespace tessary::test {

// True if two descriptors are equal in every field and byte.
inline bool AreSame(const AEDesc& first, const AEDesc& second) {
  const auto isSame = [](const AEKeyDesc& one, const AEKeyDesc& other) {
    return one.keyword == other.keyword && AreSame(one.value, other.value);
  };
  return first.descriptorType == second.descriptorType && first.form == second.form &&
         first.bytes == second.bytes && std::ranges::equal(first.items, second.items, isSame) &&
         std::ranges::equal(first.attributes, second.attributes, isSame);
}

}  // namespace tessary::test
