#include "engine/shell.h"

#include <utility>

namespace tessary {
namespace {

EngineHooks gEngineHooks;

}  // namespace

void SetEngineHooks(EngineHooks hooks) { gEngineHooks = std::move(hooks); }

const EngineHooks& GetEngineHooks() { return gEngineHooks; }

void ObserveItem(const std::string& path, ItemOutcome outcome) {
  if (gEngineHooks.observeItem) gEngineHooks.observeItem(path, outcome);
}

}  // namespace tessary
