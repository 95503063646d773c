#pragma once

#include <sys/stat.h>

#include <optional>

#include "platform/managers/file_attributes.h"

// Dates that the filesystem of an object cannot store, remembered until the run ends: a run by date
// reads the date of an item again after it has copied the item.
namespace tessary {

// Remembers a date of the object whose stat result is `info`.
void RememberDate(const struct statx& info, DateAttribute attribute, const Timestamp& date);

// Returns the remembered date, or none.
std::optional<Timestamp> RememberedDate(const struct statx& info, DateAttribute attribute);

// Forgets all dates. By the next run, their device and inode numbers may belong to other objects.
void ForgetDates();

}  // namespace tessary
