// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "platform/Clock.h"
#include "platform/Worker.h"
#include "platform/backend/AudioDevice.h"

namespace orvane::host {

/// Notices that a running device no longer calls back.
///
/// A stall is no callback for ten slices, and for half a second at least. Not a stall: a callback in progress, which
/// may be writing to a pipe that nobody empties; an interruption that the device itself reports; a process that was
/// stopped as a whole, which shows in the watch being late itself.
class StallWatch {
 public:
  /// How long a device of this format may be silent.
  static platform::HostTime limit(const backend::DeviceFormat& format);

  /// `onStall` runs on `worker`, at most once a run; both outlive this, and the worker is idle by its end.
  StallWatch(const platform::Clock& clock, platform::Worker& worker, std::function<void()> onStall);

  /// The device is about to start: interruptions are noted from now on. `prepare`, `begin` and `end` come from one
  /// thread at a time.
  void prepare() { mLast = mClock.now(); }
  /// The device has started: its silence counts from now on.
  void begin(const backend::DeviceFormat& format);
  /// The device is about to stop, or has ended by itself. Any thread.
  void end() { ++mRun; }

  /// No callback is to be expected before `time`. Not while one runs.
  void expectSilence(platform::HostTime time) { mLast = time; }

  /// Around each callback. Real-time safe.
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
  std::atomic<Run> mRun = 0;  ///< Looks that were planned for another run are void.
  std::atomic<bool> mInside = false;
  std::atomic<platform::HostTime> mLast{};  ///< When the last callback ended, or the next one may come.
};

}  // namespace orvane::host
