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

  /// Lets one wait return, now or later. Any thread; real-time safe at real pace, and never called on the device
  /// callback at fast pace by code that must hold at both.
  virtual void signal() = 0;
  /// Waits until signalled, for at most `limit` of host time. True where a signal was taken, false where the limit
  /// came first. Never called from a worker's task.
  virtual bool wait(HostTime limit) = 0;
};

}  // namespace orvane::platform
