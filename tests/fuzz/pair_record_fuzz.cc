#include "platform/linux/changes/pair_record.h"
#include "tests/fuzz/fuzz.h"

// The record of a change that was under way, as anybody may have left one in a folder: it names
// nothing but objects in its own folder and in the one that it tells of.
namespace tessary::testing {
namespace {

bool IsName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

}  // namespace

void TryInput(std::string_view input) {
  const auto intent = ParsePairIntent(input);
  if (!intent) return;
  Require(IsName(intent->name), "the item has a name in the folder");
  Require(intent->change == PairChange::kDelete || IsName(intent->newName),
          "the item goes to a name in a folder");
  Require(intent->otherPath.empty() || intent->otherPath.front() == '/',
          "a folder is told by its whole path");
  const std::string bytes = FormatPairIntent(*intent);
  const auto again = ParsePairIntent(bytes);
  Require(again && FormatPairIntent(*again) == bytes, "a record comes back from its bytes");
}

}  // namespace tessary::testing
