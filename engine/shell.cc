#include "engine/shell.h"

#include <algorithm>
#include <utility>

#include "platform/managers/text.h"

namespace tessary {
namespace {

EngineHooks gEngineHooks;

}  // namespace

bool IsFailure(ItemOutcome outcome) {
  return outcome != ItemOutcome::kFiled && outcome != ItemOutcome::kSkipped;
}

std::string NewPathOf(const ItemReport& report) {
  if (report.newName.empty()) return {};
  std::string name = Utf8FromUtf16(report.newName);
  std::ranges::replace(name, '/', ':');
  return std::string(report.folderPath) + "/" + name;
}

void SetEngineHooks(EngineHooks hooks) { gEngineHooks = std::move(hooks); }

const EngineHooks& GetEngineHooks() { return gEngineHooks; }

void ObserveItem(const ItemReport& report) {
  if (gEngineHooks.observeItem) gEngineHooks.observeItem(report);
}

}  // namespace tessary
