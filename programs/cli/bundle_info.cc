#include "programs/cli/bundle_info.h"

#include "platform/managers/bundle.h"

namespace tessary {

void RegisterBundleInfo() { SetMainBundleInfoDictionary({{"CFBundleSignature", "Tsry"}}); }

}  // namespace tessary
