// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orvane::simulated {

/// A setting, and the place where it was given, for messages: `rate=48000`.
template <typename Kind>
struct Given {
  Kind value{};
  std::string where;
};

/// The settings of a simulated device. Settings that are not given have a default.
struct DeviceSettings {
  template <typename Kind>
  using MaybeGiven = std::optional<Given<Kind>>;

  static constexpr std::uint32_t maxRate = 768000;

  MaybeGiven<std::uint32_t> rate;    ///< Hertz, 0 (hardware that reports none) to 768000; default 48000, or the file's.
  MaybeGiven<std::uint32_t> inputs;  ///< 0 to 64; default 1, or the file's.
  MaybeGiven<std::uint32_t> outputs;   ///< 0 to 64; default 2.
  MaybeGiven<std::uint32_t> slice;     ///< Frames, 1 to 8192; default 256.
  MaybeGiven<bool> fastPace;           ///< Default false.
  MaybeGiven<std::string> microphone;  ///< As `makeMicrophone` reads it; default "silence".
  MaybeGiven<std::string> speaker;     ///< "null", the default, or the path of a file to write.

  /// Takes over the settings that `others` has and this does not.
  void fillFrom(const DeviceSettings& others) {
    const auto fill = [](auto& mine, const auto& theirs) {
      if (!mine) mine = theirs;
    };
    fill(rate, others.rate);
    fill(inputs, others.inputs);
    fill(outputs, others.outputs);
    fill(slice, others.slice);
    fill(fastPace, others.fastPace);
    fill(microphone, others.microphone);
    fill(speaker, others.speaker);
  }
};

}  // namespace orvane::simulated
