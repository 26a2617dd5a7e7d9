// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <span>

#include "platform/backend/AudioDevice.h"

namespace orvane::host {

/// Collects what clients play in one slice. Real-time safe.
///
/// The first client of a channel is copied, not added to zero, so that a lone client's samples reach the device bit for
/// bit, negative zero and not-a-number included.
class OutputMix {
 public:
  OutputMix(std::span<float* const> outputs, std::uint32_t frames) : mOutputs(outputs), mFrames(frames) {}

  std::uint32_t channels() const { return static_cast<std::uint32_t>(mOutputs.size()); }
  std::uint32_t frames() const { return mFrames; }

  void add(std::uint32_t channel, const float* samples) {
    float* output = mOutputs[channel];
    if (mPlayed[channel]) {
      for (std::uint32_t frame = 0; frame < mFrames; ++frame) output[frame] += samples[frame];
    } else {
      std::copy_n(samples, mFrames, output);
      mPlayed[channel] = true;
    }
  }

  /// Silences the channels that nobody played.
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
