// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "platform/Clock.h"

namespace orvane::host {

/// The host clock in real time: the system's monotonic clock, shifted so that it shows one second when this object is
/// created. The clock of simulated time (`Conductor`) also starts at one second. Copies show the same time.
/// Thread-safe; real-time safe.
class SteadyClock final : public platform::Clock {
 public:
  platform::HostTime now() const override { return systemNow() - mZero; }
  /// Converts a time of this clock to the corresponding time of CLOCK_MONOTONIC.
  platform::HostTime systemTime(platform::HostTime time) const { return time + mZero; }

 private:
  static platform::HostTime systemNow() { return std::chrono::steady_clock::now().time_since_epoch(); }

  platform::HostTime mZero = systemNow() - std::chrono::seconds(1);
};

}  // namespace orvane::host
