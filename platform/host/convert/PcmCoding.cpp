// SPDX-License-Identifier: MIT
#include "platform/host/convert/PcmCoding.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "platform/backend/AudioDevice.h"
#include "platform/host/convert/Interleaving.h"

namespace orvane::host {

namespace flag = platform::format_flag;

namespace {

constexpr std::uint32_t bitsPerByte = 8;
constexpr std::uint32_t maxBits = 32;

template <std::uint32_t size>
std::uint64_t load(const std::byte* bytes, bool isBigEndian) {
  std::uint64_t value = 0;
  for (std::uint32_t index = 0; index < size; ++index) {
    const std::uint32_t place = isBigEndian ? size - 1 - index : index;
    value |= std::to_integer<std::uint64_t>(bytes[place]) << (bitsPerByte * index);
  }
  return value;
}

template <std::uint32_t size>
void store(std::byte* bytes, std::uint64_t value, bool isBigEndian) {
  for (std::uint32_t index = 0; index < size; ++index) {
    const std::uint32_t place = isBigEndian ? size - 1 - index : index;
    bytes[place] = static_cast<std::byte>(value >> (bitsPerByte * index));
  }
}

/// Calls `transfer(byte offset, channel, frame)` for each sample of a block.
template <std::uint32_t size, typename Transfer>
void forEachSample(std::uint32_t channels, std::uint32_t frames, Transfer transfer) {
  for (std::uint32_t channel = 0; channel < channels; ++channel) {
    std::size_t offset = std::size_t{channel} * size;
    for (std::uint32_t frame = 0; frame < frames; ++frame, offset += std::size_t{channels} * size) {
      transfer(offset, channel, frame);
    }
  }
}

/// The position of a sample's bits in its container.
struct Integer {
  std::uint32_t bits = 0;
  std::uint32_t lowShift = 0;
  bool isSigned = false;
  double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);

  /// Returns the sample of a container. The bits are moved to the top of 32, so that their sign is the number's sign.
  float sample(std::uint32_t container) const {
    std::uint32_t top = container >> lowShift << (maxBits - bits);
    if (!isSigned) top ^= 0x80000000U;
    return static_cast<float>(static_cast<std::int32_t>(top)) * 0x1p-31F;
  }

  std::uint32_t container(float sample) const {
    const double scaled = std::isnan(sample) ? 0.0 : std::clamp(std::nearbyint(sample * scale), -scale, scale - 1);
    auto number = static_cast<std::uint32_t>(static_cast<std::int64_t>(scaled));
    if (!isSigned) number ^= 1U << (bits - 1);
    const std::uint32_t mask = bits == maxBits ? ~0U : (1U << bits) - 1;
    // Signed samples in the low bits of a wider container are sign-extended.
    return isSigned && lowShift == 0 ? number : (number & mask) << lowShift;
  }
};

/// Calls `operation` with the size of a sample, 1 to 4 bytes or 8, as a constant.
template <typename Operation>
void withSize(std::uint32_t size, Operation operation) {
  switch (size) {
    case 1:
      return operation(std::integral_constant<std::uint32_t, 1>());
    case 2:
      return operation(std::integral_constant<std::uint32_t, 2>());
    case 3:
      return operation(std::integral_constant<std::uint32_t, 3>());
    case 4:
      return operation(std::integral_constant<std::uint32_t, 4>());
    default:
      return operation(std::integral_constant<std::uint32_t, 8>());
  }
}

}  // namespace

std::optional<PcmCoding> PcmCoding::make(const platform::StreamDescription& format) {
  const std::uint32_t flags = format.formatFlags;
  const std::uint32_t channels = format.channelsPerFrame;
  const bool isInterleaved = (flags & flag::nonInterleaved) == 0 || channels == 1;
  if (format.formatID != platform::linearPcmFormatID || format.framesPerPacket != 1 || !isInterleaved || channels < 1 ||
      channels > backend::DeviceFormat::maxChannels || format.bytesPerFrame != format.bytesPerPacket ||
      format.bytesPerFrame % channels != 0) {
    return std::nullopt;
  }
  PcmCoding coding;
  coding.mChannels = channels;
  coding.mSampleBytes = format.bytesPerFrame / channels;
  coding.mBits = format.bitsPerChannel;
  coding.mIsFloat = (flags & flag::isFloat) != 0;
  coding.mIsSigned = (flags & flag::signedInteger) != 0;
  coding.mIsBigEndian = (flags & flag::bigEndian) != 0;
  const std::uint32_t containerBits = coding.mSampleBytes * bitsPerByte;
  if ((flags & flag::packed) != 0 && coding.mBits != containerBits) return std::nullopt;
  if (coding.mIsFloat) {
    const bool isKnown = coding.mBits == containerBits && (coding.mBits == 32 || coding.mBits == 64);
    return isKnown ? std::optional(coding) : std::nullopt;
  }
  if (coding.mBits < 1 || coding.mBits > std::min(containerBits, maxBits) || coding.mSampleBytes > sizeof(float)) {
    return std::nullopt;
  }
  if ((flags & flag::alignedHigh) != 0) coding.mLowShift = containerBits - coding.mBits;
  return coding;
}

void PcmCoding::decode(const std::byte* bytes, std::uint32_t frames, std::span<float* const> planes) const {
  const bool isBigEndian = mIsBigEndian;
  if (mIsFloat && mSampleBytes == sizeof(double)) {
    return forEachSample<8>(mChannels, frames, [&](std::size_t offset, std::uint32_t channel, std::uint32_t frame) {
      planes[channel][frame] = static_cast<float>(std::bit_cast<double>(load<8>(bytes + offset, isBigEndian)));
    });
  }
  if (mIsFloat && mIsBigEndian == (std::endian::native == std::endian::big) &&
      reinterpret_cast<std::uintptr_t>(bytes) % alignof(float) == 0) {
    return deinterleave(reinterpret_cast<const float*>(bytes), planes, 0, frames);
  }
  if (mIsFloat) {
    return forEachSample<4>(mChannels, frames, [&](std::size_t offset, std::uint32_t channel, std::uint32_t frame) {
      const auto bits = static_cast<std::uint32_t>(load<4>(bytes + offset, isBigEndian));
      planes[channel][frame] = std::bit_cast<float>(bits);
    });
  }
  const Integer integer{mBits, mLowShift, mIsSigned};
  withSize(mSampleBytes, [&](auto size) {
    forEachSample<size>(mChannels, frames, [&](std::size_t offset, std::uint32_t channel, std::uint32_t frame) {
      planes[channel][frame] = integer.sample(static_cast<std::uint32_t>(load<size>(bytes + offset, isBigEndian)));
    });
  });
}

void PcmCoding::encode(std::span<const float* const> planes, std::size_t first, std::uint32_t frames,
                       std::byte* bytes) const {
  const bool isBigEndian = mIsBigEndian;
  const auto sample = [&](std::uint32_t channel, std::uint32_t frame) { return planes[channel][first + frame]; };
  if (mIsFloat && mSampleBytes == sizeof(double)) {
    return forEachSample<8>(mChannels, frames, [&](std::size_t offset, std::uint32_t channel, std::uint32_t frame) {
      store<8>(bytes + offset, std::bit_cast<std::uint64_t>(double{sample(channel, frame)}), isBigEndian);
    });
  }
  if (mIsFloat) {
    return forEachSample<4>(mChannels, frames, [&](std::size_t offset, std::uint32_t channel, std::uint32_t frame) {
      store<4>(bytes + offset, std::bit_cast<std::uint32_t>(sample(channel, frame)), isBigEndian);
    });
  }
  const Integer integer{mBits, mLowShift, mIsSigned};
  withSize(mSampleBytes, [&](auto size) {
    forEachSample<size>(mChannels, frames, [&](std::size_t offset, std::uint32_t channel, std::uint32_t frame) {
      store<size>(bytes + offset, integer.container(sample(channel, frame)), isBigEndian);
    });
  });
}

}  // namespace orvane::host
