// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "platform/backend/AudioDevice.h"
#include "platform/host/audio/SliceQueue.h"
#include "platform/host/convert/PlanarFifo.h"

namespace orvane::host {

/// A ring of half a second that passes decoded samples from a worker to the device callback. It knows the end of the
/// sound, so that missing samples can be told from the end. One thread calls the operations of the worker, another
/// those of the callback.
class PlaybackRing {
 public:
  PlaybackRing(std::uint32_t channels, double sampleRate)
      : mQueue(channels, std::max(static_cast<std::uint32_t>(std::ceil(sampleRate * seconds)),
                                  2 * backend::DeviceFormat::maxSliceFrames)) {}

  // The worker.

  /// Moves the oldest frames of `source` into the ring, as many as there is room for.
  void fillFrom(PlanarFifo& source) {
    const std::size_t frames = std::min<std::size_t>(source.frames(), mQueue.capacity() - mQueue.frames());
    if (frames == 0) return;
    mQueue.push(source.planes(), static_cast<std::uint32_t>(frames));
    source.drop(frames);
    mPushed += frames;
  }
  /// Declares that the sound ends after the frames pushed so far and `more` frames. Must be called before the last
  /// frame is pushed.
  void endAfter(std::size_t more) { mEnd = mPushed + more; }
  /// Declares that another sound follows, whose end is not known yet. Until its first frame has been taken, missing
  /// samples do not count as starving.
  void reopen() {
    mFirst = mPushed;
    mEnd = unknownEnd;
  }
  /// Passes all frames in the ring to `take`. Must be called only while the callback is not.
  template <typename Take>
  void takeAll(Take take) {
    mQueue.takeAll(take);
  }

  // The device callback; real-time safe.

  /// Takes up to `frames` frames into the planes (one array per channel) and fills the rest with silence. Returns the
  /// number of frames taken.
  std::uint32_t take(std::uint32_t frames, std::span<float* const> planes) {
    std::uint32_t filled = 0;
    const bool hasPlayed = mTaken > mFirst;
    mTaken += mQueue.takeUpTo(frames, [&](const SliceQueue::Block& block) {
      for (std::size_t channel = 0; channel < planes.size(); ++channel)
        std::copy_n(block.planes[channel], block.frames, planes[channel] + filled);
      filled += block.frames;
    });
    for (float* const plane : planes) std::fill(plane + filled, plane + frames, 0.0F);
    const bool isStarving = filled < frames && mTaken < mEnd;
    mBeganToStarve = isStarving && !mStarving && hasPlayed;
    mStarving = isStarving;
    return filled;
  }
  /// Returns whether the last call of `take` is the first one that lacked samples within the sound.
  bool beganToStarve() const { return mBeganToStarve; }
  /// Returns whether the worker should fill the ring.
  bool isLow() const { return mQueue.frames() <= mQueue.capacity() / 2; }
  /// Returns whether the last frame of the sound has been taken.
  bool isPlayedOut() const { return mTaken >= mEnd; }

 private:
  static constexpr double seconds = 0.5;
  static constexpr std::uint64_t unknownEnd = std::numeric_limits<std::uint64_t>::max();

  SliceQueue mQueue;
  std::uint64_t mPushed = 0;                     ///< Used by the worker.
  std::atomic<std::uint64_t> mEnd = unknownEnd;  ///< The value of `mTaken` after the last frame.
  std::atomic<std::uint64_t> mFirst = 0;         ///< The value of `mTaken` before the first frame of the sound.
  std::uint64_t mTaken = 0;                      ///< Used by the callback, like the members below.
  bool mStarving = false;
  bool mBeganToStarve = false;
};

}  // namespace orvane::host
