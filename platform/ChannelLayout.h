// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace orvane::platform {

/// The position of one channel of a stream. The host stores these fields and does not interpret them.
struct ChannelDescription {
  std::uint32_t label = 0;             ///< Identifies the position; 1, 2, ... with the tag `discreteInOrder`.
  std::uint32_t flags = 0;             ///< Says how to read `coordinates`; 0 if they are not used.
  std::array<float, 3> coordinates{};  ///< All 0 if not used.

  bool operator==(const ChannelDescription&) const = default;
};

/// The positions of a stream's channels, given by a tag, by a bitmap, or by one description per channel. A plain value:
/// concurrent use of one object needs external synchronisation.
struct ChannelLayout {
  /// The tag for channels in order without positions; add the channel count in its low sixteen bits.
  static constexpr std::uint32_t discreteInOrder = 0x00010000;

  std::uint32_t tag = 0;                         ///< Names a layout; 0 for none.
  std::uint32_t bitmap = 0;                      ///< One bit per position; 0 if not used.
  std::vector<ChannelDescription> descriptions;  ///< In channel order; empty if not used.

  bool operator==(const ChannelLayout&) const = default;
};

}  // namespace orvane::platform
