// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "platform/Export.h"

namespace orvane::platform {

/// A point on the host clock, counted in nanoseconds from a beginning of the clock's own choice.
using HostTime = std::chrono::nanoseconds;

/// The host clock. It runs on when no device does; every bound, stall limit and time stamp uses it.
class ORVANE_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  /// The time now. Never goes back. Any thread; real-time safe.
  virtual HostTime now() const = 0;
};

}  // namespace orvane::platform
