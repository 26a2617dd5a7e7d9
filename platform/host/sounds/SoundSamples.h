// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/host/Result.h"
#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/PlanarFifo.h"
#include "platform/host/sounds/SoundTable.h"

namespace orvane::host {

/// The samples of a sound. Not thread-safe; not real-time safe.
struct SoundSamples {
  EdgeFormat format;
  PlanarFifo samples;
};

/// Returns the path of a sound's file in the sound theme "freedesktop", or `std::nullopt` if it is not installed.
std::optional<std::string> findThemeFile(std::string_view name);

/// Reads a sound file of up to 30 s. Fails with `invalidFile`, also if the file is cut short; with `unsupportedFormat`
/// if it is longer or has more than 64 channels; or with `ioFailure`.
Result<SoundSamples> readSoundSamples(const std::string& path);

/// Synthesises a sound: its notes one after the other, 150 ms each, with an exponential decay; 48000 Hz, one channel.
SoundSamples synthesiseSound(const SoundEntry& sound);

}  // namespace orvane::host
