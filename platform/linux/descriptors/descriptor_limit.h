#pragma once

#include <cstddef>

// The number of file descriptors that the process may have open.
namespace tessary {

// Raises the process's limit of open descriptors (the soft limit) to the hard limit. Does nothing
// if that is not permitted.
void RaiseDescriptorLimit();

// Returns how many descriptors one cache of open folders may hold: `usual`, but at most one of
// `shares` equal shares of the current limit, and at least 2.
size_t DescriptorBudget(size_t usual, size_t shares);

}  // namespace tessary
