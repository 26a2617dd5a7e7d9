// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Clock.h"
#include "platform/Export.h"

namespace orvane::platform {

/// A counting semaphore whose time limits are measured by the host clock. All waiting in the library uses it.
class ORVANE_EXPORT Waiter {
 public:
  /// The value of `limit` for a wait without a time limit.
  static constexpr HostTime forever = HostTime::max();

  virtual ~Waiter() = default;

  /// Adds one signal, which lets one current or later `wait` return. Thread-safe. Must not be called on the device
  /// callback, because it may lock a mutex; use a `Trigger` there.
  virtual void signal() = 0;
  /// Waits for a signal, removes it and returns true. Returns false if the duration `limit` elapses first; a negative
  /// limit counts as 0. Thread-safe. Calling it inside a worker's task or on the device callback ends the process with
  /// a message.
  virtual bool wait(HostTime limit) = 0;
};

}  // namespace orvane::platform
