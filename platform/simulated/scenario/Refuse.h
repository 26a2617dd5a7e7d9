// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/PlatformException.h"

namespace orvane::simulated {

/// Refuses the set-up of a simulated device, saying what is wrong and what would be right.
[[noreturn]] inline void refuse(const std::string& reason) {
  throw platform::PlatformException("SimulationException", reason);
}
/// The same for a setting, and where it was given: "rate=7x", "scenario=test.json: faults[2].status".
[[noreturn]] inline void refuse(const std::string& where, const std::string& reason) {
  refuse(where + ": " + reason);
}

}  // namespace orvane::simulated
