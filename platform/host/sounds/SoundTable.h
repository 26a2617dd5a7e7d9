// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace orvane::host {

/// A system sound and the notes from which it is synthesised if the sound theme lacks it.
struct SoundEntry {
  std::uint32_t identifier;
  std::string_view name;         ///< The name in sound themes.
  std::span<const float> hertz;  ///< The notes, one after the other.
};

/// Returns all system sounds, in order of their identifiers. docs/devices.md lists them for users.
std::span<const SoundEntry> soundTable();

/// Returns the entry with this identifier, or null.
const SoundEntry* findSound(std::uint32_t identifier);

}  // namespace orvane::host
