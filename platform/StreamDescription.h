// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace orvane::platform {

/// The format of an audio stream's data. A plain record; the fields are not checked for consistency.
struct StreamDescription {
  double sampleRate = 0;               ///< Hertz.
  std::uint32_t formatID = 0;          ///< A four-character code such as `linearPcmFormatID`.
  std::uint32_t formatFlags = 0;       ///< Bits whose meaning depends on `formatID`; `format_flag` for linear PCM.
  std::uint32_t bytesPerPacket = 0;    ///< In one buffer; a buffer holds one channel if channels are not interleaved.
  std::uint32_t framesPerPacket = 0;   ///< 1 for linear PCM.
  std::uint32_t bytesPerFrame = 0;     ///< In one buffer, like `bytesPerPacket`.
  std::uint32_t channelsPerFrame = 0;  ///< Channel count.
  std::uint32_t bitsPerChannel = 0;    ///< Bits of one sample.
  std::uint32_t reserved = 0;          ///< Must be 0.

  bool operator==(const StreamDescription&) const = default;
};

/// The format identifier of linear PCM, 'lpcm'.
inline constexpr std::uint32_t linearPcmFormatID = 0x6C70636D;

/// Bits of `StreamDescription::formatFlags` for linear PCM.
namespace format_flag {

inline constexpr std::uint32_t isFloat = 0x1;        ///< Floating-point samples; clear for integers.
inline constexpr std::uint32_t bigEndian = 0x2;      ///< Most significant byte first.
inline constexpr std::uint32_t signedInteger = 0x4;  ///< Signed integers; clear for unsigned ones.
inline constexpr std::uint32_t packed = 0x8;         ///< Samples fill all bits of their bytes.
inline constexpr std::uint32_t alignedHigh =
    0x10;  ///< Samples that are not packed occupy the high bits of their bytes.
inline constexpr std::uint32_t nonInterleaved = 0x20;  ///< Each channel has its own buffer.
inline constexpr std::uint32_t nonMixable = 0x40;      ///< The stream cannot be mixed with others.
inline constexpr std::uint32_t allClear =
    0x80000000;  ///< Requests a format without flags in places where 0 accepts any flags.

}  // namespace format_flag

/// The place and length of one packet in a buffer of packets. A plain record.
struct PacketDescription {
  std::int64_t startOffset = 0;      ///< Offset of the packet's first byte in the buffer, in bytes.
  std::uint32_t framesInPacket = 0;  ///< Frames to keep of the packet, from its beginning; 0 means all.
  std::uint32_t byteSize = 0;

  bool operator==(const PacketDescription&) const = default;
};

}  // namespace orvane::platform
