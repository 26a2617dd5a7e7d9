// SPDX-License-Identifier: MIT

// The one place that knows which hosts there are and which one is in use.

#include <mutex>
#include <utility>

#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/root/HostRegistry.h"
#include "platform/simulated/SimulatedHost.h"

namespace orvane::platform {

namespace {

struct InUse {
  std::mutex mutex;
  bool chosen = false;
  Platform platform;
};

/// Never destroyed: the process may end while a callback runs, and files are completed by the exit hook.
InUse& inUse() {
  static InUse& instance = *new InUse();
  return instance;
}

root::HostRegistry& registry() {
  static root::HostRegistry& instance = *[] {
    auto* const hosts = new root::HostRegistry();
    // This build has no client of the sound server; the name is known all the same, so that asking for it is no typo.
    hosts->add({"pipewire", [] { return false; }, {}});
    hosts->add({"simulated", [] { return true; }, simulated::makeSimulatedHost});
    return hosts;
  }();
  return instance;
}

}  // namespace

Platform current() {
  InUse& state = inUse();
  const std::lock_guard lock(state.mutex);
  if (!state.chosen) {
    state.platform = registry().make(registry().available().front(), {});
    state.chosen = true;
  }
  return state.platform;
}

void use(Platform platform) {
  InUse& state = inUse();
  {
    const std::lock_guard lock(state.mutex);
    std::swap(state.platform, platform);
    state.chosen = true;
  }
  // The services that were in use are destroyed here, outside the lock: their threads may ask for the services in use
  // as they end.
}

std::vector<std::string> knownHosts() {
  return registry().known();
}

std::vector<std::string> availableHosts() {
  return registry().available();
}

Platform makeHost(std::string_view name, std::string_view options) {
  return registry().make(name, options);
}

Platform makeSimulatedHost(std::string_view options) {
  return simulated::makeSimulatedHost(options);
}

}  // namespace orvane::platform
