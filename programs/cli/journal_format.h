#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/managers/change_observer.h"

// The lines of a journal, which the manual page tessary-cli(1) describes. A journal may be crafted:
// only a line that is well-formed in every respect is parsed.
namespace tessary {

struct JournalHeader {
  std::string id;      // a UUID
  std::string source;  // absolute paths without links
  std::string destination;
};

// A change that is about to be made. Changes are numbered from 1.
struct ChangeLine {
  uint64_t number = 0;
  Change change;
};

// The change of that number was made, and the object is another one, or another state of it, than
// was recorded before.
struct ResultLine {
  uint64_t number = 0;
  ObjectState state;
};

// The change of that number was not made.
struct FailureLine {
  uint64_t number = 0;
  Status status = noErr;
};

// The run has ended by itself.
struct EndLine {};

using JournalLine = std::variant<JournalHeader, ChangeLine, ResultLine, FailureLine, EndLine>;

// Format a line, without a line end. The header also records the program, the time and the settings
// in force.
std::string FormatHeader(const JournalHeader& header);
std::string FormatChange(const ChangeLine& line);
std::string FormatResult(const ResultLine& line);
std::string FormatFailure(const FailureLine& line);
std::string FormatEnd();

// Parses a line. Returns none if it is not one of the above. Paths are absolute and have no empty
// component and none that is "." or "..".
std::optional<JournalLine> ParseJournalLine(std::string_view text);

// Returns the UUID of a change of the journal `id` (ChangeObserver::StagingUuid).
std::string StagingUuidOf(const std::string& id, uint64_t number);

// Returns true if `path` is `folder` or below it. Both are absolute and normalised.
bool IsPathWithin(std::string_view path, std::string_view folder);

}  // namespace tessary
