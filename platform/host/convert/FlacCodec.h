// SPDX-License-Identifier: MIT
#pragma once

#include <FLAC/format.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/StreamDescription.h"
#include "platform/host/Result.h"
#include "platform/host/convert/PacketCodec.h"

// The FLAC codec, based on libFLAC. The set-up data ("magic cookie") is the 34 bytes of the stream's STREAMINFO block.

namespace orvane::host {

/// The size of a STREAMINFO block's content, in bytes.
inline constexpr std::size_t flacCookieBytes = 34;

/// Returns the cookie of a stream.
std::vector<std::byte> flacCookie(const FLAC__StreamMetadata_StreamInfo& info);

/// Returns why a FLAC stream cannot have this format's rate, channel count or width, or `std::nullopt` if it can.
std::optional<std::string> whyNotFlac(const platform::StreamDescription& format);

/// Creates a decoder of FLAC packets of 1 to 8 channels. The cookie must be set before the first packet.
Result<std::unique_ptr<PacketDecoder>> makeFlacDecoder(const platform::StreamDescription& format);
/// Creates an encoder with the settings of the program `flac` at its default level. `bitsPerChannel` is the width of
/// the encoded samples, 8 to 24; 0 means 16. `framesPerPacket` is the length of a packet; 0 means the codec's choice.
Result<std::unique_ptr<PacketEncoder>> makeFlacEncoder(const platform::StreamDescription& format);

}  // namespace orvane::host
