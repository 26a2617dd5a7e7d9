// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/Failure.h"
#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// The source of a simulated device's input. Used on the device's worker, outside the device callback. Not thread-safe;
/// not real-time safe.
class Microphone {
 public:
  /// The format that the microphone dictates: rate in hertz and channel count.
  struct Format {
    std::uint32_t rate = 0;
    std::uint32_t channels = 0;
  };

  virtual ~Microphone() = default;

  /// Returns the format that the device must have; nothing if the microphone supports any.
  virtual std::optional<Format> format() const { return std::nullopt; }
  /// Called before the first `read` with the device's rate in hertz (0 if it reports none) and its output channels.
  /// Throws `platform::PlatformException` if the microphone does not support the rate.
  virtual void prepare(std::uint32_t /*rate*/, std::uint32_t /*outputs*/) {}
  /// Writes `frames` frames to each plane and returns the number written, which is smaller at the end only.
  virtual std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) = 0;
  /// Whether the end was reached.
  virtual bool atEnd() const { return false; }
  /// Returns the failure (`invalidFile`, `ioFailure`) that caused the end; nothing before the end or after a regular
  /// end.
  virtual std::optional<platform::Failure> failure() const { return std::nullopt; }
  /// Receives the slice that the speaker has played.
  virtual void hear(std::span<const float* const> /*planes*/, std::uint32_t /*frames*/) {}
};

/// Makes a microphone from a text:
///
/// - `silence`;
/// - `tone:HZ[:AMPLITUDE]`: a sine of 0 hertz to half the rate with amplitude 0 to 1 (default 0.5), computed in double
///   precision and rounded to floats;
/// - `noise[:SEED]`: uniform over [-1, 1), reproducible from the seed, 0 (the default) to 2^64 - 1;
/// - `loop`: the speaker's output, one slice later;
/// - any other text: the path of a sound file that libsndfile can read. Integer samples are scaled to full scale 1.0,
///   floats are unchanged. Use `./silence` for a file whose name is one of the words above. A file that is shorter than
///   its header declares is refused.
///
/// Throws `platform::PlatformException` with the place of the text and the reason.
std::unique_ptr<Microphone> makeMicrophone(const Given<std::string>& text);

/// Whether a microphone's text is the path of a file.
bool isMicrophoneFile(std::string_view text);

}  // namespace orvane::simulated
