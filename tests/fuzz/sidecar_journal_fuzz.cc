#include "platform/linux/sidecars/sidecar_journal.h"
#include "tests/fuzz/fuzz.h"

// Parses a journal entry. Entries may be crafted: no name in one may lead out of a folder.
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
  Require(IsName(entry->name), "the item has a name in a folder");
  Require(entry->operation == JournalOperation::kDelete || IsName(entry->newName),
          "the new name is one in a folder");
  Require(entry->otherPath.empty() || entry->otherPath.front() == '/',
          "the path of the other folder is absolute");
  const std::string bytes = FormatJournalEntry(*entry);
  const auto again = ParseJournalEntry(bytes);
  Require(again && FormatJournalEntry(*again) == bytes, "a formatted entry parses to itself");
}

}  // namespace tessary::test
