#include "engine/application_source.h"

#include <optional>
#include <string>

#include "engine/classification.h"
#include "engine/shell.h"
#include "platform/managers/bundle.h"
#include "platform/strings.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

std::optional<std::string> CopyResourcePath(const FSRef& application) {
  const std::optional<std::string> path = StringWithFSRef(&application);
  if (!path) return std::nullopt;
  const std::optional<NSBundle> bundle = NSBundle::BundleWithPath(*path);
  if (!bundle) return std::nullopt;
  return bundle->ResourcePath();
}

// The folder that a run on `source` works on, or none for an application without resources folder.
std::optional<FSRef> FindRunSource(const FSRef& source) {
  if (!GetAggregateAppResourcesOnly() || !IsApplicationItem(source)) return source;
  const std::optional<std::string> resourcePath = CopyResourcePath(source);
  FSRef resources;
  if (!resourcePath || !GetFSRef(*resourcePath, &resources)) return std::nullopt;
  return resources;
}

}  // namespace

void ResolveRunSource(const FSRef& source) {
  const std::optional<FSRef> runSource = FindRunSource(source);
  if (!runSource) {
    ObserveItem(
        {.path = FSLastKnownPath(source), .outcome = ItemOutcome::kNoRun, .status = fnfErr});
    return;
  }
  const auto& runAggregation = GetEngineHooks().runAggregation;
  if (runAggregation) runAggregation(*runSource);
}

}  // namespace tessary
