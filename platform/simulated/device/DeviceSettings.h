// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orvane::simulated {

/// A setting that was given, and where it was given, for use in messages: "rate=48000" or "scenario=a.json:
/// audio.rate".
template <typename Kind>
struct Given {
  Kind value{};
  std::string where;
};

/// The settings of a simulated device. A setting that was not given is empty; the default stated at the member then
/// applies.
struct DeviceSettings {
  template <typename Kind>
  using MaybeGiven = std::optional<Given<Kind>>;

  static constexpr std::uint32_t maxRate = 768000;

  MaybeGiven<std::uint32_t> rate;    ///< Hertz, 0 (hardware that reports none) to 768000; default 48000, or the file's.
  MaybeGiven<std::uint32_t> inputs;  ///< 0 to 64; default 1, or the file's.
  MaybeGiven<std::uint32_t> outputs;   ///< 0 to 64; default 2.
  MaybeGiven<std::uint32_t> slice;     ///< Frames, 1 to 8192; default 256.
  MaybeGiven<bool> fastPace;           ///< Default false.
  MaybeGiven<std::string> microphone;  ///< Text for `makeMicrophone`; default "silence".
  MaybeGiven<std::string> speaker;     ///< "null", the default, or the path of a file to write.

  /// Copies each setting that is not given here from `others`.
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
