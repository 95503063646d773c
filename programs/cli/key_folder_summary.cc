#include "programs/cli/key_folder_summary.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <vector>

#include "platform/managers/log.h"
#include "programs/cli/messages.h"

namespace tessary {

void KeyFolderSummary::Add(const ItemRecord& record) {
  if (record.target.empty() || record.outcome == ItemOutcome::kSkipped) return;
  Sum& sum = folders_[record.key];
  ++sum.items;
  sum.bytes += record.size.value_or(0);
  sum.isIncomplete |= !record.size;
}

std::string KeyFolderSummary::Text() const {
  if (folders_.empty()) return {};
  std::vector<std::pair<std::string, Sum>> sorted(folders_.begin(), folders_.end());
  std::ranges::sort(sorted, [](const auto& a, const auto& b) {
    return std::tie(b.second.bytes, b.second.items, a.first) <
           std::tie(a.second.bytes, a.second.items, b.first);
  });
  using Cells = std::array<std::string, 3>;
  std::vector<Cells> lines = {{"items", "size", "folder"}};
  for (const auto& [key, sum] : sorted) {
    lines.push_back({std::to_string(sum.items),
                     (sum.isIncomplete ? "> " : "") + SizeText(sum.bytes),
                     EscapeControlCharacters(key)});
  }
  std::array<size_t, 2> widths = {};
  for (const Cells& line : lines) {
    for (size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  std::string text;
  for (const Cells& line : lines) {
    for (size_t i = 0; i < widths.size(); ++i) {
      text.append(widths[i] - line[i].size(), ' ').append(line[i]).append("  ");
    }
    text.append(line.back()).append("\n");
  }
  return text;
}

}  // namespace tessary
