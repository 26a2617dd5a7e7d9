// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace orvane::platform {

/// The position of one channel of a stream.
struct ChannelDescription {
  std::uint32_t label = 0;
  std::uint32_t flags = 0;
  std::array<float, 3> coordinates{};

  bool operator==(const ChannelDescription&) const = default;
};

/// The positions of a stream's channels: a tag that names a layout, a bitmap, or a description for each channel.
struct ChannelLayout {
  /// Tag of "channels in order, without positions"; the low sixteen bits hold the channel count.
  static constexpr std::uint32_t discreteInOrder = 0x00010000;

  std::uint32_t tag = 0;
  std::uint32_t bitmap = 0;
  std::vector<ChannelDescription> descriptions;

  bool operator==(const ChannelLayout&) const = default;
};

}  // namespace orvane::platform
