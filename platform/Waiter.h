// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Clock.h"
#include "platform/Export.h"

namespace orvane::platform {

/// The one way to wait for something. Signals are counted: each lets one wait return.
class ORVANE_EXPORT Waiter {
 public:
  /// A limit that never comes.
  static constexpr HostTime forever = HostTime::max();

  virtual ~Waiter() = default;

  /// Lets one wait return, now or later. Any thread but the device callback, which fires a `Trigger` instead.
  virtual void signal() = 0;
  /// Waits until signalled, for at most `limit` of host time. True if a signal was taken, false if the limit came
  /// first. A wait inside a worker's task or on the device callback ends the process with a line that says so.
  virtual bool wait(HostTime limit) = 0;
};

}  // namespace orvane::platform
