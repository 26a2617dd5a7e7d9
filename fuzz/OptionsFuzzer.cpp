// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/SettingsCheck.h"
#include "platform/simulated/scenario/SimulatedOptions.h"

namespace orvane {

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const auto options = simulated::parseSimulatedOptions({reinterpret_cast<const char*>(data), size});
    fuzz::require(!options.scenario || !options.scenario->empty());
    fuzz::checkSettings(options.device);
  } catch (const platform::PlatformException& refusal) {
    fuzz::require(!refusal.reason().empty());
  }
  return 0;
}

}  // namespace orvane
