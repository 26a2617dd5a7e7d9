#include "platform/host/SliceQueue.h"

#include <readerwriterqueue/readerwriterqueue.h>

#include <algorithm>

namespace orvane::host {

namespace {

/// A slot is handed over when the next slice does not fit, so it holds at least this many frames by then.
constexpr std::uint32_t leastBlockFrames = 1024;

}  // namespace

/// Slots travel in a circle: the worker frees them, the callback fills them.
struct SliceQueue::Indexes {
  explicit Indexes(std::uint32_t slots) : free(slots), filled(slots) {
    for (std::uint32_t index = 0; index < slots; ++index) free.enqueue(index);
  }
  moodycamel::ReaderWriterQueue<std::uint32_t> free;
  moodycamel::ReaderWriterQueue<std::uint32_t> filled;
};

SliceQueue::SliceQueue(std::uint32_t channels, std::uint32_t mostSliceFrames, std::uint32_t frames)
    : mSlotFrames(mostSliceFrames + leastBlockFrames) {
  // One slot is being filled and one may be in the worker's hands.
  const std::uint32_t slots = frames / leastBlockFrames + 3;
  mIndexes = std::make_unique<Indexes>(slots);
  mSlots.reserve(slots);
  for (std::uint32_t index = 0; index < slots; ++index) mSlots.push_back({AlignedSamples(channels, mSlotFrames)});
}

SliceQueue::~SliceQueue() = default;

bool SliceQueue::push(std::span<const float* const> planes, std::uint32_t frames) {
  if (!openSlot(frames)) {
    mOverruns.fetch_add(1, std::memory_order_relaxed);
    return false;
  }
  for (std::uint32_t channel = 0; channel < mOpen->samples.channels(); ++channel) {
    std::copy_n(planes[channel], frames, mOpen->samples.plane(channel) + mOpen->frames);
  }
  mOpen->frames += frames;
  return true;
}

bool SliceQueue::openSlot(std::uint32_t frames) {
  if (mOpen != nullptr && mSlotFrames - mOpen->frames < frames) finishBlock();
  if (mOpen == nullptr) {
    std::uint32_t index = 0;
    if (!mIndexes->free.try_dequeue(index)) return false;
    mOpen = &mSlots[index];
    mOpen->frames = 0;
  }
  return true;
}

void SliceQueue::finishBlock() {
  if (mOpen == nullptr) return;
  // Never full: there are no more indexes than it was made for.
  mIndexes->filled.try_enqueue(static_cast<std::uint32_t>(mOpen - mSlots.data()));
  mOpen = nullptr;
}

const SliceQueue::Slot* SliceQueue::front() const {
  const std::uint32_t* index = mIndexes->filled.peek();
  return index == nullptr ? nullptr : &mSlots[*index];
}

void SliceQueue::release() {
  std::uint32_t index = 0;
  if (mIndexes->filled.try_dequeue(index)) mIndexes->free.try_enqueue(index);
}

}  // namespace orvane::host
