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

}  // namespace

bool FindRunSource(const FSRef& source, FSRef* runSource) {
  if (runSource == nullptr) return false;
  if (!GetAggregateAppResourcesOnly() || !IsApplicationItem(source)) {
    *runSource = source;
    return true;
  }
  const std::optional<std::string> resourcePath = CopyResourcePath(source);
  FSRef resources;
  if (!resourcePath || !GetFSRef(*resourcePath, &resources)) return false;
  *runSource = resources;
  return true;
}

void ResolveRunSource(const FSRef& source) {
  FSRef runSource;
  if (!FindRunSource(source, &runSource)) return;
  const auto& runAggregation = GetEngineHooks().runAggregation;
  if (runAggregation) runAggregation(runSource);
}

}  // namespace tessary
