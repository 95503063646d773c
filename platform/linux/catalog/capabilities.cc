#include "platform/linux/catalog/capabilities.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <set>
#include <tuple>

namespace tessary {
namespace {

struct ProbeResults {
  std::mutex mutex;
  std::set<std::tuple<ProbeResult, uint32_t, uint32_t>> results;
};

ProbeResults& KnownResults() {
  static ProbeResults gProbeResults;
  return gProbeResults;
}

}  // namespace

bool HasProbeResult(uint32_t device, ProbeResult what, uint32_t other) {
  const std::lock_guard lock(KnownResults().mutex);
  return KnownResults().results.contains({what, device, other});
}

void RememberProbeResult(uint32_t device, ProbeResult what, uint32_t other) try {
  const std::lock_guard lock(KnownResults().mutex);
  KnownResults().results.insert({what, device, other});
} catch (const std::bad_alloc&) {
  // The result is only an optimisation: the probe is made again next time. The caller has already
  // changed files, and must not report a failure because of this.
}

bool HasProbeResultAnywhere(ProbeResult what) {
  const std::lock_guard lock(KnownResults().mutex);
  const auto& results = KnownResults().results;
  return std::any_of(results.begin(), results.end(),
                     [what](const auto& result) { return std::get<ProbeResult>(result) == what; });
}

void ForgetProbeResults() {
  const std::lock_guard lock(KnownResults().mutex);
  KnownResults().results.clear();
}

}  // namespace tessary
