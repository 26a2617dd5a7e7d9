// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <span>

#include "platform/backend/AudioDevice.h"

namespace orvane::host {

/// The mixer of the clients' output in one slice (block of one device callback). Not thread-safe; real-time safe.
///
/// The first client's samples of a channel are copied, not added to 0, so that the samples of a single client reach the
/// device bit for bit, including negative zero and not-a-number.
class OutputMix {
 public:
  OutputMix(std::span<float* const> outputs, std::uint32_t frames) : mOutputs(outputs), mFrames(frames) {}

  std::uint32_t channels() const { return static_cast<std::uint32_t>(mOutputs.size()); }
  std::uint32_t frames() const { return mFrames; }

  /// Adds `frames()` samples to a channel. `channel` must be below `channels()`.
  void add(std::uint32_t channel, const float* samples) {
    float* output = mOutputs[channel];
    if (mPlayed[channel]) {
      for (std::uint32_t frame = 0; frame < mFrames; ++frame) output[frame] += samples[frame];
    } else {
      std::copy_n(samples, mFrames, output);
      mPlayed[channel] = true;
    }
  }

  /// Writes silence to each channel to which nothing was added. Must be called once, after all calls of `add`.
  void finish() {
    for (std::uint32_t channel = 0; channel < channels(); ++channel) {
      if (!mPlayed[channel]) std::fill_n(mOutputs[channel], mFrames, 0.0F);
    }
  }

 private:
  std::span<float* const> mOutputs;
  std::uint32_t mFrames;
  std::bitset<backend::DeviceFormat::maxChannels> mPlayed;
};

}  // namespace orvane::host
