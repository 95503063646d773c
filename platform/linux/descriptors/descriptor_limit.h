#pragma once

#include <cstddef>

// How the process gets along with the descriptors that it may have.
namespace tessary {

// Raises the number of descriptors that this process may have to the most that it may ask for.
// Where that is refused, it goes on with what it has.
void RaiseDescriptorLimit();

// How many descriptors one holder may keep open to save opening them again: `usual`, or one of
// `shares` equal shares of all that the process may have now where that is less, but at least 2.
size_t DescriptorBudget(size_t usual, size_t shares);

}  // namespace tessary
