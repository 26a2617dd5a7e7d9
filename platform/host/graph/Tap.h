// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/GraphEngine.h"
#include "platform/Worker.h"
#include "platform/host/audio/CaptureRing.h"
#include "platform/host/convert/PlanarFifo.h"
#include "platform/host/graph/GraphCore.h"

namespace orvane::host {

/// The tap of an input node: takes the input on the device callback and delivers it in buffers on a worker of its own.
class Tap {
 public:
  Tap(std::shared_ptr<GraphCore> core, const platform::StreamFormat& format, std::uint32_t frames,
      platform::TapFunction function);

  /// Takes captured samples, one plane (array) for each channel. `hostTime` is the time of the first frame, in
  /// nanoseconds. Called on the device callback; real-time safe.
  void capture(std::span<const float* const> planes, std::uint32_t frames, std::uint64_t hostTime);
  /// Delivers everything that was captured, the last buffer as far as it is filled. Must be called while the device
  /// does not call, and not in a worker's task.
  void finishRun();

 private:
  void work(bool isRunOver);
  void deliver();
  void end(const std::string& reason);

  const std::shared_ptr<GraphCore> mCore;
  const platform::StreamFormat mFormat;
  const std::uint32_t mFrames;
  CaptureRing mRing;
  std::atomic<std::uint64_t> mFirstTime = 0;  ///< Time of the first frame of the run; 0 before.
  std::atomic<bool> mEnded = false;           ///< The function threw an exception.

  // Used by the worker.
  platform::TapFunction mFunction;
  PlanarFifo mBuffer;
  std::uint64_t mDelivered = 0;  ///< Frames delivered so far.
  std::uint64_t mRunBegin = 0;   ///< The value of `mDelivered` at the beginning of the run.

  /// The last members, so that no task runs when the others are destroyed.
  const std::unique_ptr<platform::Worker> mWorker;
  const std::unique_ptr<platform::Trigger> mWorkTrigger;
};

}  // namespace orvane::host
