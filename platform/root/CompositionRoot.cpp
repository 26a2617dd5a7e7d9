// SPDX-License-Identifier: MIT

// This file is the only place that knows which hosts exist and which one is in use.

#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/root/HostRegistry.h"
#include "platform/root/ModuleHost.h"
#include "platform/simulated/SimulatedHost.h"

namespace orvane::platform {

namespace {

struct InUse {
  std::mutex mutex;
  bool chosen = false;
  Platform platform;
};

/// Returns the services in use. The object is never destroyed, because the process may exit while a callback is
/// running, and files are completed by the exit hook.
InUse& inUse() {
  static InUse& instance = *new InUse();
  return instance;
}

root::HostRegistry& registry() {
  static root::HostRegistry& instance = *[] {
    auto* const hosts = new root::HostRegistry();
    // The name is registered without the module as well, so that it is reported as unavailable, not as unknown.
    hosts->add({"pipewire", [] { return root::hasModule("pipewire"); },
                [](std::string_view options) { return root::makeModuleHost("pipewire", options); }});
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
  // The previous services are destroyed here, after unlocking, because their threads may call `current` before they
  // end.
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
