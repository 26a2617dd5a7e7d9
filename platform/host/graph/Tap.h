// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/GraphEngine.h"
#include "platform/PlatformError.h"
#include "platform/UnitService.h"
#include "platform/Worker.h"
#include "platform/host/audio/CaptureRing.h"
#include "platform/host/convert/PlanarFifo.h"
#include "platform/host/graph/GraphCore.h"
#include "platform/host/graph/MarkQueue.h"

namespace orvane::host {

/// The tap of an input node: takes the input on the device callback and delivers it in buffers on a worker of its own.
class Tap {
 public:
  Tap(std::shared_ptr<GraphCore> core, const platform::StreamFormat& format, std::uint32_t frames,
      platform::TapFunction function);

  /// Takes captured samples, one plane (array) for each channel, with the time of the first frame. `sampleTime`
  /// counts frames of the run, those included that are missing. Called on the device callback; real-time safe.
  void capture(std::span<const float* const> planes, std::uint32_t frames, const platform::RenderTimeStamp& time);
  /// Delivers everything that was captured, the last buffer as far as it is filled. Must be called while the device
  /// does not call, and not in a worker's task.
  void finishRun();

  /// Returns the failure that has ended the tap. Thread-safe.
  std::optional<platform::Failure> failure() const { return mEnded ? std::optional(mFailure) : std::nullopt; }

 private:
  void work(bool isRunOver);
  void deliver();
  platform::RenderTimeStamp timeOfNext();
  void end(const std::string& reason, bool isLogged);

  const std::shared_ptr<GraphCore> mCore;
  const platform::StreamFormat mFormat;
  const std::uint32_t mFrames;
  CaptureRing mRing;
  MarkQueue mMarks;
  std::atomic<bool> mIsRunNew = true;  ///< No frame of the run has been captured.
  std::atomic<bool> mEnded = false;    ///< The function threw an exception.
  platform::Failure mFailure;          ///< Written once, before `mEnded` is set.

  // Used by the device callback.
  std::uint64_t mCaptured = 0;    ///< Frames in the ring so far.
  std::uint64_t mLost = 0;        ///< Frames missing or dropped so far.
  std::uint64_t mNextSample = 0;  ///< The expected `sampleTime` of the next slice.
  bool mMarkIsDue = false;        ///< The next captured frame does not follow the one before.

  // Used by the worker.
  platform::TapFunction mFunction;
  PlanarFifo mBuffer;
  PlanarFifo mBefore;            ///< The buffer delivered before, in the same run.
  std::uint64_t mDelivered = 0;  ///< Frames delivered so far.
  TimeMark mMark;                ///< The last mark up to the next frame to deliver.

  /// The last members, so that no task runs when the others are destroyed.
  const std::unique_ptr<platform::Worker> mWorker;
  const std::unique_ptr<platform::Trigger> mWorkTrigger;
};

}  // namespace orvane::host
