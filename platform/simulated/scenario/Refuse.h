// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/PlatformException.h"

namespace orvane::simulated {

/// Throws a `platform::PlatformException` for an invalid setting of a simulated device. `reason` must state what is
/// wrong and what would be right.
[[noreturn]] inline void refuse(const std::string& reason) {
  throw platform::PlatformException("SimulationException", reason);
}
/// Throws a `platform::PlatformException` with the reason "WHERE: REASON" for an invalid setting. `where` is the place
/// of the setting, such as "rate=7x" or "scenario=test.json: faults[2].status".
[[noreturn]] inline void refuse(const std::string& where, const std::string& reason) {
  refuse(where + ": " + reason);
}

}  // namespace orvane::simulated
