// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/StreamDescription.h"
#include "platform/host/Result.h"
#include "platform/host/convert/PacketCodec.h"

// The Opus codec, based on libopus. The set-up data ("magic cookie") is the identification header of RFC 7845.

namespace orvane::host {

inline constexpr double opusRate = 48000;  ///< Hertz; Opus always decodes to this rate.
inline constexpr std::uint32_t maxEncodedOpusChannels = 2;

/// The identification header of an Opus stream.
struct OpusHead {
  std::uint32_t channels = 1;
  std::uint32_t preSkip = 0;    ///< Frames to drop at the beginning.
  std::uint32_t inputRate = 0;  ///< Hertz of the original sound, for information.
  std::int32_t gain = 0;        ///< Output gain in 1/256 dB.
  std::uint32_t family = 0;     ///< 0 for one stream, 1 for several.
  std::uint32_t streams = 1;
  std::uint32_t coupled = 0;                   ///< Streams that hold two channels.
  std::array<unsigned char, 8> mapping{0, 1};  ///< The decoded channel of each output channel.

  /// Parses a header. Returns `std::nullopt` if it is not valid or has more than 8 channels.
  static std::optional<OpusHead> parse(std::span<const std::byte> bytes);
  std::vector<std::byte> bytes() const;
};

/// Returns the number of frames in a packet at 48000 Hz, 120 to 5760, or 0 for an invalid packet.
std::uint32_t opusFrames(std::span<const std::byte> packet);

/// Creates a decoder of Opus packets. Without a cookie, the channels of `format` are one stream without pre-skip.
Result<std::unique_ptr<PacketDecoder>> makeOpusDecoder(const platform::StreamDescription& format);
/// Creates an encoder of 20 ms packets at 96 kbit/s per channel. The rate must be 48000 Hz or 0, which means the same;
/// `framesPerPacket` must be 960 or 0.
Result<std::unique_ptr<PacketEncoder>> makeOpusEncoder(const platform::StreamDescription& format);

}  // namespace orvane::host
