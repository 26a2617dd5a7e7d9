// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace orvane::platform {

/// The format of an audio stream's bytes: the basic stream description record.
struct StreamDescription {
  double sampleRate = 0;  ///< Hertz.
  std::uint32_t formatID = 0;
  std::uint32_t formatFlags = 0;
  std::uint32_t bytesPerPacket = 0;
  std::uint32_t framesPerPacket = 0;
  std::uint32_t bytesPerFrame = 0;  ///< Of one buffer: of one channel where channels are not interleaved.
  std::uint32_t channelsPerFrame = 0;
  std::uint32_t bitsPerChannel = 0;
  std::uint32_t reserved = 0;

  bool operator==(const StreamDescription&) const = default;
};

/// The format identifier of linear PCM, 'lpcm'.
inline constexpr std::uint32_t linearPcmFormatID = 0x6C70636D;

/// Bits of `StreamDescription::formatFlags` for linear PCM.
namespace format_flag {

inline constexpr std::uint32_t isFloat = 0x1;
inline constexpr std::uint32_t bigEndian = 0x2;
inline constexpr std::uint32_t signedInteger = 0x4;
inline constexpr std::uint32_t packed = 0x8;
inline constexpr std::uint32_t alignedHigh = 0x10;
inline constexpr std::uint32_t nonInterleaved = 0x20;
inline constexpr std::uint32_t nonMixable = 0x40;
inline constexpr std::uint32_t allClear = 0x80000000;  ///< Stands for "no flag" where 0 means "any".

}  // namespace format_flag

}  // namespace orvane::platform
