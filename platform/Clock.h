// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "platform/Export.h"

namespace orvane::platform {

/// A point in time on the host clock, or a duration, in nanoseconds. The clock's origin is unspecified.
using HostTime = std::chrono::nanoseconds;

/// The host clock. It advances whether or not a device is running. All timeouts, stall limits and time stamps use it.
/// In simulated time ("fast pace", see `Scheduler`) it jumps from one task's due time to the next instead of following
/// real time.
class ORVANE_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  /// Returns the current time, which never decreases. Thread-safe; real-time safe.
  virtual HostTime now() const = 0;
};

}  // namespace orvane::platform
