// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/host/audio/AlignedSamples.h"

namespace orvane::host {

/// Carries slices of sound from the device callback to a worker: a bounded ring of frames, without locks, allocated
/// before the start.
///
/// One thread pushes, one takes. A push is all or nothing; one that finds too little room drops its slice and is
/// counted. What was pushed can be taken at once, to the last frame.
class SliceQueue {
 public:
  /// Holds `frames` frames, at least one.
  SliceQueue(std::uint32_t channels, std::uint32_t frames);

  /// The callback's side. Real-time safe. False where the slice was dropped.
  bool push(std::span<const float* const> planes, std::uint32_t frames);

  /// Sound as the worker sees it.
  struct Block {
    std::span<const float* const> planes;
    std::uint32_t frames;  ///< 1 to `maxBlockFrames`.
  };
  static constexpr std::uint32_t maxBlockFrames = 16384;

  /// The worker's side: calls `take(Block)` for what is there now, oldest first. Room is given back block by block.
  template <typename Take>
  void takeAll(Take take) {
    const std::uint64_t pushed = mPushed.load(std::memory_order_acquire);
    std::uint64_t taken = mTaken.load(std::memory_order_relaxed);
    while (taken < pushed) {
      const auto place = static_cast<std::uint32_t>(taken % mCapacity);
      const auto waiting = static_cast<std::uint32_t>(pushed - taken);
      const std::uint32_t frames = std::min({waiting, mCapacity - place, maxBlockFrames});
      take(blockAt(place, frames));
      taken += frames;
      mTaken.store(taken, std::memory_order_release);
    }
  }

  /// Slices that were dropped. Any thread.
  std::uint64_t overruns() const { return mOverruns.load(std::memory_order_relaxed); }

 private:
  static constexpr std::size_t cacheLine = 64;

  Block blockAt(std::uint32_t place, std::uint32_t frames);

  // Each side writes one count and reads the other: on lines of their own, so that they do not slow each other down.
  alignas(cacheLine) std::atomic<std::uint64_t> mPushed = 0;  ///< Frames since the beginning.
  std::atomic<std::uint64_t> mOverruns = 0;
  AlignedSamples mSamples;
  std::uint32_t mCapacity;
  alignas(cacheLine) std::atomic<std::uint64_t> mTaken = 0;
  std::vector<const float*> mBlock;  ///< The worker's.
};

}  // namespace orvane::host
