// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "platform/Clock.h"
#include "platform/Worker.h"
#include "platform/backend/AudioDevice.h"

namespace orvane::host {

/// Detects a running device that no longer calls back.
///
/// A stall is the absence of callbacks for ten slices, and for at least 500 ms. Not a stall: a callback in progress (it
/// may be writing to a pipe that is not read), an interruption that the device reports, and a process that was stopped
/// and continued, which the watch recognises because it runs late itself.
class StallWatch {
 public:
  /// Returns the time without callbacks after which a device of this format has stalled.
  static platform::HostTime limit(const backend::DeviceFormat& format);

  /// Calls `onStall` on `worker` at most once a run. Clock and worker must outlive this object, and the worker must be
  /// cancelled before it is destroyed.
  StallWatch(const platform::Clock& clock, platform::Worker& worker, std::function<void()> onStall);

  /// Call it before the device starts: interruptions are recorded from now on. `prepare` and `begin` are called by one
  /// thread at a time.
  void prepare() { mLast = mClock.now(); }
  /// Call it after the device has started: starts the watch.
  void begin(const backend::DeviceFormat& format);
  /// Ends the watch, before the device stops or after it has ended by itself. Thread-safe.
  void end() { ++mRun; }

  /// Records that no callback is expected before `time`. Not during a callback.
  void expectSilence(platform::HostTime time) { mLast = time; }

  /// Call these at the beginning and the end of each callback. Real-time safe.
  void callbackBegins() { mInside.store(true, std::memory_order_release); }
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
