// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/host/audio/AlignedSamples.h"

namespace orvane::host {

/// A bounded, lock-free ring of frames from the device callback to a worker.
///
/// One thread pushes and one thread takes. A push is all or nothing: if there is too little room, the slice is dropped
/// and counted. Everything that was pushed can be taken immediately. The constructor allocates; all other operations
/// are real-time safe.
class SliceQueue {
 public:
  /// Makes a queue of `frames` frames, at least 1.
  SliceQueue(std::uint32_t channels, std::uint32_t frames);

  /// Pushes a slice of one plane a channel. Returns false if the slice was dropped.
  bool push(std::span<const float* const> planes, std::uint32_t frames);

  /// Frames in the queue, in planes; valid during the call that receives them.
  struct Block {
    std::span<const float* const> planes;
    std::uint32_t frames;  ///< 1 to `maxBlockFrames`.
  };
  static constexpr std::uint32_t maxBlockFrames = 16384;

  /// Calls `take(Block)` for all frames in the queue, oldest first. The room of a block is free again after its call.
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

  /// Returns the number of dropped slices. Thread-safe.
  std::uint64_t overruns() const { return mOverruns.load(std::memory_order_relaxed); }

 private:
  static constexpr std::size_t cacheLine = 64;

  Block blockAt(std::uint32_t place, std::uint32_t frames);

  // Each side writes one count and reads the other. Separate cache lines avoid false sharing.
  alignas(cacheLine) std::atomic<std::uint64_t> mPushed = 0;  ///< Frames since the beginning.
  std::atomic<std::uint64_t> mOverruns = 0;
  AlignedSamples mSamples;
  std::uint32_t mCapacity;
  alignas(cacheLine) std::atomic<std::uint64_t> mTaken = 0;
  std::vector<const float*> mBlock;  ///< Used by the worker only.
};

}  // namespace orvane::host
