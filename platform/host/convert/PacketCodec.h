// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/PlatformError.h"
#include "platform/StreamDescription.h"
#include "platform/host/Result.h"
#include "platform/host/convert/PlanarFifo.h"

namespace orvane::host {

/// A decoder of one compressed stream to planar 32-bit float samples. Not thread-safe; not real-time safe.
class PacketDecoder {
 public:
  virtual ~PacketDecoder() = default;

  /// Sets the stream's set-up data and starts the stream anew. Returns the failure if the data does not belong to the
  /// format.
  virtual std::optional<platform::Failure> setCookie(std::span<const std::byte> cookie) = 0;
  /// Decodes one packet and appends its samples to `output`: the first `frames` of them, or all if `frames` is 0.
  virtual std::optional<platform::Failure> decode(std::span<const std::byte> packet, std::uint32_t frames,
                                                  PlanarFifo& output) = 0;
};

/// A packet that was encoded.
struct EncodedPacket {
  std::vector<std::byte> bytes;
  std::uint32_t frames = 0;  ///< Frames of the stream in the packet.
};

/// An encoder of planar 32-bit float samples to one compressed stream. Not thread-safe; not real-time safe.
class PacketEncoder {
 public:
  virtual ~PacketEncoder() = default;

  /// Returns the complete description of the packets.
  virtual const platform::StreamDescription& format() const = 0;
  /// Returns the size of the largest packet, in bytes.
  virtual std::uint32_t maxPacketBytes() const = 0;
  /// Returns the set-up data for the decoder, which is final after `finish`.
  virtual std::vector<std::byte> cookie() const = 0;

  /// Encodes and removes the frames of `input`, and appends the packets that are complete. Frames of an incomplete
  /// packet stay in the encoder.
  virtual std::optional<platform::Failure> encode(PlanarFifo& input, std::deque<EncodedPacket>& packets) = 0;
  /// Appends the last packets and ends the stream. No other operation that encodes may follow.
  virtual std::optional<platform::Failure> finish(std::deque<EncodedPacket>& packets) = 0;
};

/// Creates a decoder of 'flac' or 'opus' packets. Fails with `unsupportedFormat` for any other format.
Result<std::unique_ptr<PacketDecoder>> makeDecoder(const platform::StreamDescription& format);
/// Creates an encoder of 'flac' or 'opus' packets. Fails with `unsupportedFormat` for any other format, and for a rate,
/// a channel count or a width that the codec does not take.
Result<std::unique_ptr<PacketEncoder>> makeEncoder(const platform::StreamDescription& format);

}  // namespace orvane::host
