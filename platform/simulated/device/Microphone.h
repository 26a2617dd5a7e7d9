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

/// The source of a simulated device's input. Used on the device's worker, outside the real-time callback.
class Microphone {
 public:
  /// The format that the microphone itself fixes; nothing if it takes any rate and channel count.
  struct Format {
    std::uint32_t rate = 0;
    std::uint32_t channels = 0;
  };

  virtual ~Microphone() = default;

  virtual std::optional<Format> format() const { return std::nullopt; }
  /// Called before the first `read` with the device's rate, in hertz, and the channels of its speaker. Throws
  /// `platform::PlatformException` if the microphone cannot work at that rate.
  virtual void prepare(std::uint32_t /*rate*/, std::uint32_t /*outputs*/) {}
  /// Fills `frames` frames of each plane and returns how many there were; fewer only at the end.
  virtual std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) = 0;
  /// Whether nothing more will come.
  virtual bool atEnd() const { return false; }
  /// Why nothing more comes (`invalidFile`, `ioFailure`), once `atEnd`; nothing if the end is regular.
  virtual std::optional<platform::Failure> failure() const { return std::nullopt; }
  /// Takes the slice that the speaker has just played.
  virtual void hear(std::span<const float* const> /*planes*/, std::uint32_t /*frames*/) {}
};

/// Makes a microphone from its text:
///
/// - `silence`;
/// - `tone:HZ[:AMPLITUDE]`: a sine in double precision, narrowed; amplitude 0.5 unless given, 0 to 1;
/// - `noise[:SEED]`: uniform over [-1, 1), the same for the same seed (0 unless given, to 2^64 - 1);
/// - `loop`: what the speaker plays, one slice later;
/// - anything else: the path of a sound file that libsndfile reads. Samples come as they are in it: integers scaled to
///   full scale 1.0, floats untouched. A file named like one of the above is given with its folder (`./silence`). One
///   that is shorter than its header declares is refused.
///
/// Throws `platform::PlatformException` that says where the text was given and what is wrong with it.
std::unique_ptr<Microphone> makeMicrophone(const Given<std::string>& text);

/// Whether the text of a microphone is the path of a file.
bool isMicrophoneFile(std::string_view text);

}  // namespace orvane::simulated
