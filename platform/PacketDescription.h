// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace orvane::platform {

/// The place and length of one packet in a buffer of packets. A plain record.
struct PacketDescription {
  std::int64_t startOffset = 0;      ///< Offset of the packet's first byte in the buffer, in bytes.
  std::uint32_t framesInPacket = 0;  ///< Frames to keep of the packet, from its beginning; 0 means all.
  std::uint32_t byteSize = 0;

  bool operator==(const PacketDescription&) const = default;
};

}  // namespace orvane::platform
