// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <vector>

namespace orvane::host {

/// A block of 32-bit float samples with one plane (array) per channel, each aligned to 64 bytes. All samples are
/// initially 0.
///
/// Not thread-safe. The constructor allocates; all other operations are real-time safe.
class AlignedSamples {
 public:
  static constexpr std::size_t alignment = 64;

  AlignedSamples(std::uint32_t channels, std::uint32_t frames)
      : mStride((frames + floatsPerLine - 1) / floatsPerLine * floatsPerLine),
        mSamples(static_cast<float*>(::operator new[](bytes(channels), std::align_val_t(alignment)))) {
    std::fill_n(mSamples.get(), mStride * channels, 0.0F);
    for (std::uint32_t channel = 0; channel < channels; ++channel)
      mPlanes.push_back(mSamples.get() + channel * mStride);
    mConstPlanes.assign(mPlanes.begin(), mPlanes.end());
  }

  std::uint32_t channels() const { return static_cast<std::uint32_t>(mPlanes.size()); }
  float* plane(std::uint32_t channel) { return mPlanes[channel]; }
  const float* plane(std::uint32_t channel) const { return mPlanes[channel]; }
  std::span<float* const> planes() { return mPlanes; }
  std::span<const float* const> planes() const { return mConstPlanes; }

 private:
  struct Delete {
    void operator()(float* samples) const { ::operator delete[](samples, std::align_val_t(alignment)); }
  };
  static constexpr std::size_t floatsPerLine = alignment / sizeof(float);

  std::size_t bytes(std::uint32_t channels) const { return mStride * channels * sizeof(float); }

  std::size_t mStride;
  std::unique_ptr<float[], Delete> mSamples;
  std::vector<float*> mPlanes;
  std::vector<const float*> mConstPlanes;
};

}  // namespace orvane::host
