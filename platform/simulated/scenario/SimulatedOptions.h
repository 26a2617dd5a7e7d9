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
  std::optional<std::string> scenario;  ///< The path of a scenario file, whose settings `device` overrides.
};

/// Parses options of the form `KEY=VALUE[,KEY=VALUE…]`; an empty text gives the defaults. In the values of `mic`,
/// `speaker` and `scenario`, `\,` stands for a comma and `\\` for a backslash. Opens no file. Throws a
/// `platform::PlatformException` that names the wrong key and states what would be right.
SimulatedOptions parseSimulatedOptions(std::string_view text);

}  // namespace orvane::simulated
