// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/host/audio/AlignedSamples.h"

namespace orvane::host {

/// A bounded, lock-free ring buffer that passes slices (the blocks of the device callback) to a worker.
///
/// One thread pushes and one thread takes. If there is too little room for all frames of a slice, the whole slice is
/// dropped and counted. Pushed frames can be taken immediately. The constructor allocates; all other operations are
/// real-time safe.
class SliceQueue {
 public:
  /// Creates a queue with room for `frames` frames of `channels` channels; `frames` must be at least 1.
  SliceQueue(std::uint32_t channels, std::uint32_t frames);

  /// Pushes a slice of `frames` frames; `planes` must have one plane (array of samples) per channel. Returns false if
  /// the slice was dropped.
  bool push(std::span<const float* const> planes, std::uint32_t frames);

  /// Counts a slice that the pushing thread does not push.
  void drop() { mOverruns.fetch_add(1, std::memory_order_relaxed); }

  /// A block of frames in the queue, as one plane per channel. Valid during the call that receives the block.
  struct Block {
    std::span<const float* const> planes;
    std::uint32_t frames;  ///< 1 to `maxBlockFrames`.
  };
  static constexpr std::uint32_t maxBlockFrames = 16384;

  /// Calls `take(Block)` until all frames in the queue have been passed, oldest first. The room of a block is free
  /// again when the call returns.
  template <typename Take>
  void takeAll(Take take) {
    takeUpTo(mCapacity, take);
  }
  /// Like `takeAll`, for at most the `limit` oldest frames. Returns the number of frames passed.
  template <typename Take>
  std::uint32_t takeUpTo(std::uint32_t limit, Take take) {
    const std::uint64_t first = mTaken.load(std::memory_order_relaxed);
    const std::uint64_t pushed = std::min(mPushed.load(std::memory_order_acquire), first + limit);
    std::uint64_t taken = first;
    while (taken < pushed) {
      const auto place = static_cast<std::uint32_t>(taken % mCapacity);
      const auto waiting = static_cast<std::uint32_t>(pushed - taken);
      const std::uint32_t frames = std::min({waiting, mCapacity - place, maxBlockFrames});
      take(blockAt(place, frames));
      taken += frames;
      mTaken.store(taken, std::memory_order_release);
    }
    return static_cast<std::uint32_t>(taken - first);
  }

  /// Returns the number of frames in the queue. Thread-safe; the number may be out of date when it is returned.
  std::uint32_t frames() const {
    const std::uint64_t taken = mTaken.load(std::memory_order_acquire);
    return static_cast<std::uint32_t>(mPushed.load(std::memory_order_acquire) - taken);
  }
  std::uint32_t capacity() const { return mCapacity; }
  std::uint32_t channels() const { return mSamples.channels(); }

  /// Returns the number of dropped slices. Thread-safe.
  std::uint64_t overruns() const { return mOverruns.load(std::memory_order_relaxed); }

 private:
  static constexpr std::size_t cacheLine = 64;

  Block blockAt(std::uint32_t place, std::uint32_t frames);

  // Each side writes one count and reads the other. Separate cache lines avoid false sharing.
  alignas(cacheLine) std::atomic<std::uint64_t> mPushed = 0;  ///< Total number of frames pushed.
  std::atomic<std::uint64_t> mOverruns = 0;
  AlignedSamples mSamples;
  std::uint32_t mCapacity;
  alignas(cacheLine) std::atomic<std::uint64_t> mTaken = 0;
  std::vector<const float*> mBlock;  ///< Used by the worker only.
};

}  // namespace orvane::host
