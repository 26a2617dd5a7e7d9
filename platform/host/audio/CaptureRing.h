// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <string>

#include "platform/Log.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/SliceQueue.h"

namespace orvane::host {

/// A ring of two seconds that passes captured samples from the device callback to a worker, and says when to wake the
/// worker. Thread rules are those of `SliceQueue`.
class CaptureRing : public SliceQueue {
 public:
  /// Creates a ring whose worker is to be woken each time `wakeFrames` frames have arrived; at least 1.
  CaptureRing(std::uint32_t channels, double sampleRate, std::uint32_t wakeFrames)
      : SliceQueue(channels, std::max(static_cast<std::uint32_t>(std::ceil(sampleRate * seconds)),
                                      2 * backend::DeviceFormat::maxSliceFrames + wakeFrames)),
        mWakeFrames(wakeFrames) {}

  /// Pushes a slice, or drops it if the ring is full. Returns whether the worker is to be woken now. Called on the
  /// device callback; real-time safe.
  bool capture(std::span<const float* const> planes, std::uint32_t frames) {
    push(planes, frames);
    mWaitingFrames += frames;
    if (mWaitingFrames < mWakeFrames) return false;
    mWaitingFrames = 0;
    return true;
  }

  /// Returns whether `capture` would take a slice now. Room that there is stays until the next `capture`. Called on the
  /// device callback; real-time safe.
  bool hasRoom(std::uint32_t sliceFrames) const { return capacity() - frames() >= sliceFrames; }

  /// Logs and counts the slices dropped since the last call. `who` is the reader of the ring, for the log line. Called
  /// by the worker.
  void countOverruns(HostContext& context, const std::string& who) {
    const std::uint64_t lost = overruns() - mOverrunsCounted;
    if (lost == 0) return;
    mOverrunsCounted += lost;
    context.log->write(platform::LogLevel::warning,
                       std::to_string(lost) + " slices dropped: " + who + " could not keep up");
    context.files.addOverruns(lost);
  }

 private:
  static constexpr double seconds = 2;

  const std::uint32_t mWakeFrames;
  std::uint32_t mWaitingFrames = 0;    ///< Used by the callback.
  std::uint64_t mOverrunsCounted = 0;  ///< Used by the worker.
};

}  // namespace orvane::host
