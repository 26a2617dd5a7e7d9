// SPDX-License-Identifier: MIT
#include "platform/host/audio/SliceQueue.h"

#include <utility>

namespace orvane::host {

SliceQueue::SliceQueue(std::uint32_t channels, std::uint32_t frames)
    : mSamples(channels, frames), mCapacity(frames), mBlock(channels) {}

bool SliceQueue::push(std::span<const float* const> planes, std::uint32_t frames) {
  const std::uint64_t pushed = mPushed.load(std::memory_order_relaxed);
  const std::uint64_t room = mCapacity - (pushed - mTaken.load(std::memory_order_acquire));
  if (frames > room) {
    mOverruns.fetch_add(1, std::memory_order_relaxed);
    return false;
  }
  const auto place = static_cast<std::uint32_t>(pushed % mCapacity);
  const std::uint32_t beforeEnd = std::min(frames, mCapacity - place);
  for (std::uint32_t channel = 0; channel < mSamples.channels(); ++channel) {
    float* ring = mSamples.plane(channel);
    std::copy_n(planes[channel], beforeEnd, ring + place);
    std::copy_n(planes[channel] + beforeEnd, frames - beforeEnd, ring);
  }
  mPushed.store(pushed + frames, std::memory_order_release);
  return true;
}

SliceQueue::Block SliceQueue::blockAt(std::uint32_t place, std::uint32_t frames) {
  for (std::uint32_t channel = 0; channel < mSamples.channels(); ++channel) {
    mBlock[channel] = std::as_const(mSamples).plane(channel) + place;
  }
  return {mBlock, frames};
}

}  // namespace orvane::host
