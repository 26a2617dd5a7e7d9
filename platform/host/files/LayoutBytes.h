// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "platform/ChannelLayout.h"

namespace orvane::host {

/// The bytes before the descriptions, and the bytes of each description, in the form of `platform::SoundFileService`.
inline constexpr std::size_t layoutHeadBytes = 3 * sizeof(std::uint32_t);
inline constexpr std::size_t layoutEntryBytes = 2 * sizeof(std::uint32_t) + 3 * sizeof(float);

/// Returns the bytes of a channel layout in the form of `platform::SoundFileService`.
inline std::vector<std::byte> layoutBytes(const platform::ChannelLayout& layout) {
  std::vector<std::byte> bytes;
  const auto append = [&bytes](const auto& field) {
    const auto view = std::as_bytes(std::span(&field, 1));
    bytes.insert(bytes.end(), view.begin(), view.end());
  };
  append(layout.tag);
  append(layout.bitmap);
  append(static_cast<std::uint32_t>(layout.descriptions.size()));
  for (const platform::ChannelDescription& each : layout.descriptions) {
    append(each.label);
    append(each.flags);
    append(each.coordinates);
  }
  return bytes;
}

/// Returns whether the bytes have the size that their number of descriptions demands.
inline bool isLayout(std::span<const std::byte> bytes) {
  std::uint32_t count = 0;
  if (bytes.size() < layoutHeadBytes) return false;
  std::memcpy(&count, bytes.data() + 2 * sizeof count, sizeof count);
  return (bytes.size() - layoutHeadBytes) % layoutEntryBytes == 0 &&
         (bytes.size() - layoutHeadBytes) / layoutEntryBytes == count;
}

}  // namespace orvane::host
