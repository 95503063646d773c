#include "engine/shell.h"

#include <utility>

namespace tessary {
namespace {

EngineHooks gEngineHooks;

}  // namespace

void SetEngineHooks(EngineHooks hooks) { gEngineHooks = std::move(hooks); }

const EngineHooks& GetEngineHooks() { return gEngineHooks; }

void ReportProgressText(const std::string& text, int target) {
  if (gEngineHooks.showProgressText) gEngineHooks.showProgressText(text, target);
}

void StartRun(const FSRef& source) {
  if (gEngineHooks.runAggregation) gEngineHooks.runAggregation(source);
}

void ObserveItem(const std::string& path, ItemOutcome outcome) {
  if (gEngineHooks.observeItem) gEngineHooks.observeItem(path, outcome);
}

}  // namespace tessary
