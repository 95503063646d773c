#include "programs/cli/engine_setup.h"

#include "engine/keys.h"
#include "platform/extension_map.h"
#include "platform/managers/bundle.h"
#include "platform/managers/calendar.h"

namespace tessary {

void RegisterBundleInfo() { SetMainBundleInfoDictionary({{"CFBundleSignature", "Tsry"}}); }

void PrepareEngine() {
  RegisterBundleInfo();
  BuildExtensionMap();
  gDateLocale = CopyUserDateLocale();
}

}  // namespace tessary
