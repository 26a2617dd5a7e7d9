// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orvane::host {

/// A growing first-in, first-out store of planar samples (one array per channel). Not thread-safe; not real-time safe.
class PlanarFifo {
 public:
  explicit PlanarFifo(std::uint32_t channels) : mSamples(channels), mFree(channels), mFilled(channels) {}

  std::uint32_t channels() const { return static_cast<std::uint32_t>(mSamples.size()); }
  std::size_t frames() const { return mEnd - mBegin; }

  /// Returns the planes of room for `frames` more frames. Frames that are written there count after `commit`. Valid
  /// until the next call of `room`.
  std::span<float* const> room(std::size_t frames) {
    if (mBegin == mEnd) mBegin = mEnd = 0;
    if (mBegin > 0 && mBegin >= frames + (mEnd - mBegin)) moveToFront();
    for (std::size_t channel = 0; channel < mSamples.size(); ++channel) {
      if (mSamples[channel].size() < mEnd + frames) mSamples[channel].resize(mEnd + frames);
      mFree[channel] = mSamples[channel].data() + mEnd;
    }
    return mFree;
  }
  void commit(std::size_t frames) { mEnd += frames; }

  /// Returns the planes of the `frames()` frames in the store, oldest first. Valid until the next call of `room`.
  std::span<const float* const> planes() {
    for (std::size_t channel = 0; channel < mSamples.size(); ++channel) {
      mFilled[channel] = mSamples[channel].data() + mBegin;
    }
    return mFilled;
  }
  /// Removes the oldest frames.
  void drop(std::size_t frames) { mBegin += frames; }
  void clear() { mBegin = mEnd = 0; }

 private:
  void moveToFront() {
    for (std::vector<float>& plane : mSamples) {
      std::copy(plane.begin() + static_cast<std::ptrdiff_t>(mBegin), plane.begin() + static_cast<std::ptrdiff_t>(mEnd),
                plane.begin());
    }
    mEnd -= mBegin;
    mBegin = 0;
  }

  std::vector<std::vector<float>> mSamples;
  std::vector<float*> mFree;
  std::vector<const float*> mFilled;
  std::size_t mBegin = 0;
  std::size_t mEnd = 0;
};

}  // namespace orvane::host
