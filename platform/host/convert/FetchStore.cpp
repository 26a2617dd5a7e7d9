// SPDX-License-Identifier: MIT
#include "platform/host/convert/FetchStore.h"

#include <algorithm>

namespace orvane::host {

namespace {

constexpr std::uint32_t slackFrames = 16;
constexpr std::uint32_t maxFrames = 32768;

}  // namespace

FetchStore::FetchStore(std::uint32_t channels) : mSamples(channels, channels == 0 ? 0 : maxFrames) {}

std::uint32_t FetchStore::roomBefore(std::uint32_t fetched) const {
  const std::uint32_t room = maxFrames - slackFrames - fetched;
  return room - std::min(room, mFrames);
}

void FetchStore::fetch(std::uint32_t frames, AlignedSamples& target) {
  const std::uint32_t missing = frames > mFrames ? frames - mFrames + slackFrames : 0;
  for (std::uint32_t channel = 0; channel < mSamples.channels(); ++channel) {
    float* stored = mSamples.plane(channel);
    if (missing > 0) {
      std::copy_backward(stored, stored + mFrames, stored + mFrames + missing);
      std::fill_n(stored, missing, 0.0F);
    }
    std::copy_n(stored, frames, target.plane(channel));
    std::copy(stored + frames, stored + mFrames + missing, stored);
  }
  mFrames += missing - frames;
}

}  // namespace orvane::host
