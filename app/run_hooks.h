#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "platform/managers/file_manager.h"
#include "platform/managers/status.h"

// Hooks through which the program follows the runs, for what it shows outside of the main window.
// The program fills in the hooks that it needs; the others are not called.
namespace tessary {

// All hooks are called on the main thread. They start and change nothing.
struct RunHooks {
  // The next source is number `number`, counted from 1, of `count` that arrived together.
  std::function<void(size_t number, size_t count)> beginSource = nullptr;

  // The user is about to be asked for the destination of `source`.
  std::function<void(const FSRef& source)> askDestination = nullptr;

  // The run is about to start, and has ended. `isLast` is true if the program quits after it.
  std::function<void(const FSRef& destination)> beginRun = nullptr;
  std::function<void(bool isLast)> endRun = nullptr;

  // A source is not run. `path` is as the source was named, or empty if that is unknown.
  std::function<void(const std::string& path, Status status)> refuseSource = nullptr;
};

// Replaces all hooks.
void SetRunHooks(RunHooks hooks);

const RunHooks& GetRunHooks();

// Calls the hook `refuseSource` if there is one.
void ReportRefusedSource(const std::string& path, Status status);

}  // namespace tessary
