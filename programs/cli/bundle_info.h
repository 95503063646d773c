#pragma once

namespace tessary {

// Registers what every program of this product tells of itself as its main bundle: the
// application's signature. Called once, before start-up.
void RegisterBundleInfo();

}  // namespace tessary
