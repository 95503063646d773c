#include "platform/linux/sidecars/sidecar_journal.h"
#include "tests/fuzz/fuzz.h"

// The record of a change that was under way, as anybody may have left one in a folder: it names
// nothing but objects in its own folder and in the one that it tells of.
namespace tessary::test {
namespace {

bool IsName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

}  // namespace

void TryInput(std::string_view input) {
  const auto entry = ParseJournalEntry(input);
  if (!entry) return;
  Require(IsName(entry->name), "the item has a name in the folder");
  Require(entry->operation == JournalOperation::kDelete || IsName(entry->newName),
          "the item goes to a name in a folder");
  Require(entry->otherPath.empty() || entry->otherPath.front() == '/',
          "a folder is told by its whole path");
  const std::string bytes = FormatJournalEntry(*entry);
  const auto again = ParseJournalEntry(bytes);
  Require(again && FormatJournalEntry(*again) == bytes, "a record comes back from its bytes");
}

}  // namespace tessary::test
