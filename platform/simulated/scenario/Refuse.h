// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/PlatformException.h"

namespace orvane::simulated {

/// Throws the exception for wrong settings of a simulated device; `reason` states what is wrong and what would be
/// right.
[[noreturn]] inline void refuse(const std::string& reason) {
  throw platform::PlatformException("SimulationException", reason);
}
/// Throws "WHERE: REASON" for a setting; `where` is the place of the setting, such as "rate=7x" or "scenario=test.json:
/// faults[2].status".
[[noreturn]] inline void refuse(const std::string& where, const std::string& reason) {
  refuse(where + ": " + reason);
}

}  // namespace orvane::simulated
