#include "app/run_hooks.h"

#include <utility>

namespace tessary {
namespace {

RunHooks gRunHooks;

}  // namespace

void SetRunHooks(RunHooks hooks) { gRunHooks = std::move(hooks); }

const RunHooks& GetRunHooks() { return gRunHooks; }

void ReportRefusedSource(const std::string& path, Status status) {
  if (gRunHooks.refuseSource) gRunHooks.refuseSource(path, status);
}

}  // namespace tessary
