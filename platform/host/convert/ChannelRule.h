// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace orvane::host {

/// Converts between channel counts: computes the channel `target` of `targetCount` channels from the channels
/// `sources`. The host uses this rule everywhere:
///
/// - equal counts: each channel unchanged, bit for bit;
/// - to one channel: the mean of all channels, summed in channel order;
/// - from one channel: copied to every channel;
/// - otherwise each channel is copied to the channel with the same index; surplus source channels are dropped, and
///   missing ones are silent.
///
/// Each source has `frames` samples; `sources` may be empty. `samples` receives `frames` samples. Real-time safe.
inline void applyChannelRule(std::span<const float* const> sources, std::uint32_t target, std::uint32_t targetCount,
                             float* samples, std::uint32_t frames) {
  const auto sourceCount = static_cast<std::uint32_t>(sources.size());
  if (targetCount == 1 && sourceCount > 1) {
    const float share = 1.0F / static_cast<float>(sourceCount);
    std::copy_n(sources[0], frames, samples);
    for (std::uint32_t source = 1; source < sourceCount; ++source) {
      for (std::uint32_t frame = 0; frame < frames; ++frame) samples[frame] += sources[source][frame];
    }
    for (std::uint32_t frame = 0; frame < frames; ++frame) samples[frame] *= share;
  } else if (sourceCount == 1 || target < sourceCount) {
    std::copy_n(sources[sourceCount == 1 ? 0 : target], frames, samples);
  } else {
    std::fill_n(samples, frames, 0.0F);
  }
}

}  // namespace orvane::host
