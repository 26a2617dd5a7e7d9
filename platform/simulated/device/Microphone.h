// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/PlatformError.h"
#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// The source of a simulated device's input. It is used on the device's worker, outside the device callback. Not
/// thread-safe; not real-time safe.
class Microphone {
 public:
  /// A rate in hertz and a channel count that the microphone requires.
  struct Format {
    std::uint32_t rate = 0;
    std::uint32_t channels = 0;
  };

  virtual ~Microphone() = default;

  /// Returns the format that the device must have, or `std::nullopt` if the microphone supports any format.
  virtual std::optional<Format> format() const { return std::nullopt; }
  /// Prepares the microphone for the device's rate in hertz (0 if it reports none) and number of output channels.
  /// Called once, before the first `read`. Throws `platform::PlatformException` if the microphone does not support the
  /// rate.
  virtual void prepare(std::uint32_t /*rate*/, std::uint32_t /*outputs*/) {}
  /// Writes up to `frames` samples to each plane (the array of one channel) and returns the number of frames written.
  /// It is smaller than `frames` only at the end of the input.
  virtual std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) = 0;
  /// Returns whether the end of the input was reached.
  virtual bool atEnd() const { return false; }
  /// Returns the failure (`invalidFile` or `ioFailure`) that ended the input; `std::nullopt` before the end or after a
  /// regular end.
  virtual std::optional<platform::Failure> failure() const { return std::nullopt; }
  /// Receives the block of audio (slice) that the speaker has just played, for a loop-back. Does nothing by default.
  virtual void receiveOutput(std::span<const float* const> /*planes*/, std::uint32_t /*frames*/) {}
};

/// Creates the microphone that `text` describes:
///
/// - `silence`;
/// - `tone:HZ[:AMPLITUDE]`: a sine of 0 hertz to half the rate with amplitude 0 to 1 (default 0.5), computed in double
///   precision and rounded to floats;
/// - `noise[:SEED]`: uniform over [-1, 1), reproducible from the seed, 0 (the default) to 2^64 - 1;
/// - `loop`: the speaker's output, delayed by one slice (block of one device callback);
/// - any other text: the path of a sound file that libsndfile can read. Integer samples are scaled to full scale 1.0,
///   floats are unchanged. A file whose name is one of the words above must be given as `./silence`, for example. A
///   file that is shorter than its header declares is refused.
///
/// Throws `platform::PlatformException` with the place where the text was given and the reason.
std::unique_ptr<Microphone> makeMicrophone(const Given<std::string>& text);

/// Returns whether a microphone's text is the path of a file.
bool isMicrophoneFile(std::string_view text);

}  // namespace orvane::simulated
