#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/managers/journal_file.h"
#include "programs/cli/journal_format.h"

namespace tessary {

// A change that a run has announced.
struct JournalChange {
  Change change;
  bool hasFailed = false;                  // it was not made
  std::optional<ObjectState> result = {};  // if it was recorded
};

struct Journal {
  JournalHeader header;
  std::vector<JournalChange> changes;  // change number 1 first
};

// Reads a whole journal. Returns false and why if a line is not well-formed or does not fit those
// before it, or names a path outside the source and the destination. A journal without an end, of a
// run that was killed, is accepted.
bool ReadJournal(JournalFile& file, Journal* journal, std::string* problem);

}  // namespace tessary
