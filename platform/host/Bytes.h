// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/StreamDescription.h"

namespace orvane::host {

/// Returns the bytes of a plain object.
template <typename Object>
std::vector<std::byte> bytesOf(const Object& object) {
  const auto view = std::as_bytes(std::span(&object, 1));
  return {view.begin(), view.end()};
}

/// Returns the bytes of the elements of a vector of plain objects.
template <typename Element>
std::vector<std::byte> bytesOf(const std::vector<Element>& elements) {
  const auto view = std::as_bytes(std::span(elements));
  return {view.begin(), view.end()};
}

/// Returns whether all packets lie in a buffer of `byteSize` bytes.
inline bool lieWithin(std::span<const platform::PacketDescription> packets, std::uint32_t byteSize) {
  return std::ranges::all_of(packets, [byteSize](const platform::PacketDescription& packet) {
    return packet.startOffset >= 0 && packet.startOffset <= byteSize &&
           packet.byteSize <= byteSize - static_cast<std::uint64_t>(packet.startOffset);
  });
}

}  // namespace orvane::host
