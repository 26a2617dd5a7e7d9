// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

#include "platform/Export.h"
#include "platform/Subscription.h"

namespace orvane::platform {

/// The service that controls a run: limits its length and notifies subscribers of its end. Thread-safe; not real-time
/// safe.
///
/// A notice is a function that a caller subscribes; any number may be subscribed. Notices run one at a time on a worker
/// of the host. A notice must not wait, stop a unit while the device is running, or throw: each of these ends the
/// process. A notice may end its own subscription and release the last reference to the host.
class ORVANE_EXPORT RunControl {
 public:
  virtual ~RunControl() = default;

  /// Makes the run end after exactly `frames` hardware frames, counted since the host was created; the last slice
  /// (block of one device callback) is shortened if necessary. If the simulated microphone's file ends before the
  /// limit, the input is silent from there on. 0, the default, means no limit. A limit that is set during a run and has
  /// been exceeded ends the run with the next slice.
  virtual void endAfterFrames(std::uint64_t frames) = 0;

  /// Ends the run soon, even if the device makes no callbacks, as in an interruption. `DeviceReport::deviceEnd` returns
  /// `DeviceEnd::frameLimit` then. Does nothing if the device is not running.
  virtual void endRun() = 0;

  /// Subscribes `notice`, which is called each time the device ends by itself (see `DeviceReport::deviceEnd`). If the
  /// device has already ended, `notice` is called soon after this call. `notice` must not be empty.
  virtual Subscription onDeviceEnd(std::function<void()> notice) = 0;
  /// Subscribes `notice`, which is called once, after the first write failure (see `FileReport::writeFailure`). If a
  /// write has already failed, `notice` is called soon after this call. `notice` must not be empty.
  virtual Subscription onWriteFailure(std::function<void()> notice) = 0;
};

}  // namespace orvane::platform
