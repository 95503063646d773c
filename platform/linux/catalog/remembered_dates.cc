#include "platform/linux/catalog/remembered_dates.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <tuple>

#include "platform/linux/catalog/reference.h"

namespace tessary {
namespace {

using DateKey = std::tuple<DateAttribute, uint32_t, uint64_t, uint64_t>;

struct DateMemory {
  std::mutex mutex;
  std::map<DateKey, Timestamp> dates;
};

DateMemory& RememberedDates() {
  static DateMemory gMemory;
  return gMemory;
}

DateKey DateKeyOf(const struct statx& info, DateAttribute attribute) {
  const Identity identity = Identity::Of(info);
  return {attribute, identity.device, identity.inode, identity.birth};
}

}  // namespace

void RememberDate(const struct statx& info, DateAttribute attribute, const Timestamp& date) {
  const std::lock_guard lock(RememberedDates().mutex);
  RememberedDates().dates[DateKeyOf(info, attribute)] = date;
}

std::optional<Timestamp> RememberedDate(const struct statx& info, DateAttribute attribute) {
  const std::lock_guard lock(RememberedDates().mutex);
  const auto found = RememberedDates().dates.find(DateKeyOf(info, attribute));
  return found != RememberedDates().dates.end() ? std::optional(found->second) : std::nullopt;
}

void ForgetDates() {
  const std::lock_guard lock(RememberedDates().mutex);
  RememberedDates().dates.clear();
}

}  // namespace tessary
