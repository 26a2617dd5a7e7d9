// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/StreamDescription.h"

namespace orvane::host {

/// The coding of linear PCM of one format: converts between its bytes and planar 32-bit float samples. A plain value;
/// all operations are real-time safe.
///
/// An integer of `w` bits is a sample times 2 to the power of w - 1, rounded to nearest (ties to even) and clamped;
/// not-a-number becomes 0. Integers of up to 24 bits survive the way to float and back unchanged.
class PcmCoding {
 public:
  /// Returns the coding of a format, or `std::nullopt` if the format is not one that `platform::BufferQueueService`
  /// lists as linear PCM.
  static std::optional<PcmCoding> make(const platform::StreamDescription& format);

  std::uint32_t frameBytes() const { return mSampleBytes * mChannels; }
  std::uint32_t channels() const { return mChannels; }

  /// Decodes `frames` frames of `bytes` into the planes (one array per channel), from sample 0 on.
  void decode(const std::byte* bytes, std::uint32_t frames, std::span<float* const> planes) const;
  /// Encodes `frames` frames of the planes, from sample `first` on, into `bytes`.
  void encode(std::span<const float* const> planes, std::size_t first, std::uint32_t frames, std::byte* bytes) const;

 private:
  PcmCoding() = default;

  std::uint32_t mChannels = 0;
  std::uint32_t mSampleBytes = 0;
  std::uint32_t mBits = 0;
  std::uint32_t mLowShift = 0;  ///< Unused low bits of the container.
  bool mIsFloat = false;
  bool mIsSigned = false;
  bool mIsBigEndian = false;
};

}  // namespace orvane::host
