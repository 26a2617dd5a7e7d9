// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

#include "platform/Export.h"
#include "platform/Subscription.h"

namespace orvane::platform {

/// Limits a run and reports its end. Thread-safe; not real-time safe.
///
/// Any number of notices may be subscribed. They run on a worker of the host, one at a time. A notice must not wait,
/// must not stop a unit while the device is running, and must not throw: each ends the process. It may end its own
/// subscription and release the last reference to the host.
class ORVANE_EXPORT RunControl {
 public:
  virtual ~RunControl() = default;

  /// Ends the run after exactly `frames` hardware frames, counted since the host was made; the last slice is shortened
  /// if needed. With a limit, silence follows a microphone file that ends earlier. 0, the default, is no limit. Call it
  /// before the device starts.
  virtual void endAfterFrames(std::uint64_t frames) = 0;

  /// Calls `notice` each time the device ends by itself (`DeviceReport::deviceEnd`), also soon after this call if it
  /// already has. `notice` must not be empty.
  virtual Subscription onDeviceEnd(std::function<void()> notice) = 0;
  /// Calls `notice` once, after the first write failure (`FileReport::writeFailure`), also soon after this call if one
  /// already occurred. `notice` must not be empty.
  virtual Subscription onWriteFailure(std::function<void()> notice) = 0;
};

}  // namespace orvane::platform
