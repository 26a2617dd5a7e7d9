#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace orvane::platform {

/// Where one channel of a stream belongs.
struct ChannelDescription {
  std::uint32_t label = 0;
  std::uint32_t flags = 0;
  std::array<float, 3> coordinates{};

  bool operator==(const ChannelDescription&) const = default;
};

/// Where the channels of a stream belong: a tag that names a layout, a bitmap, or a description for each channel.
struct ChannelLayout {
  /// Tag of "channels in order, without positions"; the low sixteen bits hold the channel count.
  static constexpr std::uint32_t discreteInOrder = 0x00010000;

  std::uint32_t tag = 0;
  std::uint32_t bitmap = 0;
  std::vector<ChannelDescription> descriptions;

  bool operator==(const ChannelLayout&) const = default;
};

}  // namespace orvane::platform
