#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/host/AlignedSamples.h"

namespace orvane::host {

/// Carries slices of sound from the device callback to a worker: bounded, without locks, allocated before the start.
///
/// One thread pushes, one takes. A push is all or nothing; one that finds the queue full drops its slice and is
/// counted. Slices are gathered in blocks of about a thousand frames, so that short slices cost no more than long ones.
class SliceQueue {
 public:
  /// Room for at least `frames` frames in slices of at most `mostSliceFrames`.
  SliceQueue(std::uint32_t channels, std::uint32_t mostSliceFrames, std::uint32_t frames);
  ~SliceQueue();

  /// The callback's side. Real-time safe. False where the slice was dropped.
  bool push(std::span<const float* const> planes, std::uint32_t frames);
  /// Hands over a block that is not full yet. The callback's side as well: call it there, or while nobody pushes.
  void finishBlock();

  /// Sound as the worker sees it.
  struct Block {
    std::span<const float* const> planes;
    std::uint32_t frames;
  };
  /// The worker's side: calls `take(Block)` for every block that is there, oldest first.
  template <typename Take>
  void takeAll(Take take) {
    while (const Slot* slot = front()) {
      take(Block{slot->samples.planes(), slot->frames});
      release();
    }
  }

  /// Slices that were dropped. Any thread.
  std::uint64_t overruns() const { return mOverruns.load(std::memory_order_relaxed); }

 private:
  struct Slot {
    AlignedSamples samples;
    std::uint32_t frames = 0;
  };
  struct Indexes;

  bool openSlot(std::uint32_t frames);
  const Slot* front() const;
  void release();

  std::uint32_t mSlotFrames;
  std::vector<Slot> mSlots;
  std::unique_ptr<Indexes> mIndexes;
  Slot* mOpen = nullptr;  ///< The slot that is being filled; the callback's side alone knows it.
  std::atomic<std::uint64_t> mOverruns = 0;
};

}  // namespace orvane::host
