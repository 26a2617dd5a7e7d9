// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "platform/Clock.h"
#include "platform/Worker.h"
#include "platform/backend/AudioDevice.h"

namespace orvane::host {

/// A watchdog that detects that a running device no longer calls the device callback.
///
/// A device has stalled if no callback has occurred for ten slices (callback blocks) or 500 ms, whichever is longer.
/// The following are not stalls: a callback in progress (it may be writing to a pipe that is not read), an interruption
/// that the device reports, and a process that was stopped and continued. The watch recognises the last case because
/// its own checks are late too.
class StallWatch {
 public:
  /// Returns the duration without callbacks after which a device of this format has stalled.
  static platform::HostTime limit(const backend::DeviceFormat& format);

  /// Creates a watch, which calls `onStall` on `worker` at most once per run. `clock` and `worker` must outlive the
  /// watch, and the worker's tasks must be cancelled before the watch is destroyed.
  StallWatch(const platform::Clock& clock, platform::Worker& worker, std::function<void()> onStall);

  /// Prepares for a start of the device: interruptions are recorded from now on. Must be called before the device
  /// starts. `prepare` and `begin` must be called by one thread at a time.
  void prepare() { mLast = mClock.now(); }
  /// Begins the watch. Must be called after the device has started.
  void begin(const backend::DeviceFormat& format);
  /// Ends the watch. Must be called before the device is stopped, or after it has ended by itself. Thread-safe.
  void end() { ++mRun; }

  /// Records that no callback is expected before `time`. Must not be called during a callback.
  void expectSilence(platform::HostTime time) { mLast = time; }

  /// Records the beginning of a callback. Real-time safe.
  void callbackBegins() { mInside.store(true, std::memory_order_release); }
  /// Records the end of a callback. Real-time safe.
  void callbackEnds();

 private:
  using Run = std::uint64_t;

  void lookAt(Run run, platform::HostTime time);
  void look(Run run, platform::HostTime due);

  const platform::Clock& mClock;
  platform::Worker& mWorker;
  std::function<void()> mOnStall;
  std::atomic<platform::HostTime> mLimit{};
  std::atomic<Run> mRun = 0;  ///< Checks scheduled for an earlier run are ignored.
  std::atomic<bool> mInside = false;
  std::atomic<platform::HostTime> mLast{};  ///< End of the last callback, or time before which none is expected.
};

}  // namespace orvane::host
