// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Clock.h"
#include "platform/Export.h"

namespace orvane::platform {

/// A counting semaphore on the host clock. All waiting in the library goes through it.
class ORVANE_EXPORT Waiter {
 public:
  /// No time limit.
  static constexpr HostTime forever = HostTime::max();

  virtual ~Waiter() = default;

  /// Adds one signal, which lets one wait return, now or later. Thread-safe. Do not call it on the device callback,
  /// which fires a `Trigger` instead: at fast pace it locks a mutex.
  virtual void signal() = 0;
  /// Waits for a signal and takes it. Returns false if `limit`, a duration of host time, elapses first; a negative
  /// limit counts as 0. Thread-safe. A call inside a worker's task or on the device callback ends the process with a
  /// message.
  virtual bool wait(HostTime limit) = 0;
};

}  // namespace orvane::platform
