// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// The options of a simulated host, as parsed from text.
struct SimulatedOptions {
  DeviceSettings device;
  std::optional<std::string> scenario;            ///< The path of a scenario file, whose settings `device` overrides.
  std::optional<Given<std::string>> midi;         ///< The path of a file with an inventory.
  std::optional<Given<std::string>> midiInput;    ///< The path of a standard MIDI file for the first source.
  std::optional<Given<std::string>> midiCapture;  ///< The path of the file that records what destinations receive.
};

/// Parses options of the form `KEY=VALUE[,KEY=VALUE…]`; an empty text gives the defaults. In values that are
/// paths, `\,` stands for a comma and `\\` for a backslash. Opens no file. Throws a
/// `platform::PlatformException` that names the wrong key and states what would be right.
SimulatedOptions parseSimulatedOptions(std::string_view text);

}  // namespace orvane::simulated
