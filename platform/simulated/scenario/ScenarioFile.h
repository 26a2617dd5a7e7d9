// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Clock.h"
#include "platform/Value.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/simulated/scenario/ScenarioNode.h"

namespace orvane::simulated {

// Steps of reading a scenario and other files of settings. All throw a `platform::PlatformException` that begins with
// `where`.

/// The maximum number of bytes of a file of settings.
inline constexpr std::size_t maxScenarioBytes = std::size_t{1} << 20;

/// Reads a whole file, or one byte more than `maxScenarioBytes` of a longer one. `claim` becomes a claim on the file
/// with the name `name`.
std::string readScenarioFile(const std::string& path, const std::string& where, const std::string& name,
                             std::shared_ptr<const host::ReadClaim>& claim);

/// Parses JSON text of at most `maxScenarioBytes` bytes.
platform::Value parseScenarioText(std::string_view text, const std::string& where);

/// Reads a time in seconds, from 0 to 1000000000.
platform::HostTime readScenarioTime(const ScenarioNode& node);

}  // namespace orvane::simulated
