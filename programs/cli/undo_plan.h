#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "platform/managers/change_reversal.h"
#include "programs/cli/journal_reader.h"

namespace tessary {

using UndoStep = std::variant<FiledItem, CreatedFolder>;

struct UndoPlan {
  std::vector<UndoStep> steps;  // in the order in which they are to be done
  uint64_t replacedItems = 0;   // that the run has deleted, and of which no original exists
};

// Makes one step of all changes of one object, so that an item that was moved repeatedly returns to
// its first place at once.
UndoPlan MakeUndoPlan(const Journal& journal);

}  // namespace tessary
