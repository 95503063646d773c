#pragma once

namespace tessary {

// Registers the main bundle's information dictionary: the application's signature. Call it once,
// before the extension map is built.
void RegisterBundleInfo();

// Prepares what the engine's keys are made of: registers the bundle information, builds the
// extension map, and takes the user's date locale.
void PrepareEngine();

}  // namespace tessary
