#include "engine/shell.h"

#include <utility>

namespace tessary {
namespace {

ShellHooks gShellHooks;

}  // namespace

void SetShellHooks(ShellHooks hooks) { gShellHooks = std::move(hooks); }

const ShellHooks& GetShellHooks() { return gShellHooks; }

void ReportProgressText(const std::string& text, int target) {
  if (gShellHooks.showProgressText) gShellHooks.showProgressText(text, target);
}

void StartRun(const FSRef& source) {
  if (gShellHooks.runAggregation) gShellHooks.runAggregation(source);
}

void ObserveItem(const std::string& path, ItemOutcome outcome) {
  if (gShellHooks.observeItem) gShellHooks.observeItem(path, outcome);
}

}  // namespace tessary
