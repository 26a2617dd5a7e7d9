// The one place that knows which hosts there are and which one is in use.

#include <mutex>
#include <utility>

#include "platform/Hosts.h"
#include "platform/Platform.h"
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

}  // namespace

Platform current() {
  InUse& state = inUse();
  const std::lock_guard lock(state.mutex);
  if (!state.chosen) {
    state.platform = makeSimulatedHost();
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
  // What was in use goes away here, outside the lock: its threads may ask for the services in use as they end.
}

std::vector<std::string> availableHosts() {
  return {"simulated"};
}

Platform makeSimulatedHost(std::string_view options) {
  return simulated::makeSimulatedHost(options);
}

}  // namespace orvane::platform
