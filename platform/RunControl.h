// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

#include "platform/Export.h"
#include "platform/Subscription.h"

namespace orvane::platform {

/// Limits a run and tells when it ends. Any thread; not real-time safe.
///
/// Notices run on a worker of the host, one at a time. Any number may be subscribed. A notice may do anything but wait,
/// or stop a unit while the device runs; it may end its own subscription and drop the last reference to the host.
class ORVANE_EXPORT RunControl {
 public:
  virtual ~RunControl() = default;

  /// Ends the run when exactly `frames` frames were handed out since the host was made; the last slice is shorter where
  /// it takes that. A microphone file that ends earlier is followed by silence. Set before the device starts; 0, the
  /// default, is no limit.
  virtual void endAfterFrames(std::uint64_t frames) = 0;

  /// Calls `notice` each time the device ends by itself; immediately if it already has.
  virtual Subscription onDeviceEnd(std::function<void()> notice) = 0;
  /// Calls `notice` once, at the first write failure (`FileReport::writeFailure`); immediately if one already occurred.
  virtual Subscription onWriteFailure(std::function<void()> notice) = 0;
};

}  // namespace orvane::platform
