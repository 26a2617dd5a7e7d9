// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Clock.h"
#include "platform/Status.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// Something that goes wrong in a simulation, and stays wrong.
struct Fault {
  enum class Kind {
    microphoneUnplugged,  ///< The input is silent; where somebody takes it, the device has failed.
    deviceLost,           ///< The device has failed and does not start again.
    serverLost,           ///< The same with another status and reason.
    stalled,              ///< The device no longer calls back and says nothing.
    discontinuity,        ///< `frames` frames are missing, once.
    refuse,               ///< The host call `call` is refused with `status`; render operations too.
    diskFull,             ///< Files cannot be written.
  };

  Kind kind{};
  platform::HostTime at{};      ///< After the device's first start; what is at 0 holds before it as well.
  platform::Status status = 0;  ///< Not 0, except for calls that answer without a status.
  std::string call = {};        ///< The name of a `host::GatedCall`.
  std::string reason = {};      ///< With which the call is refused.
  std::uint32_t frames = 0;     ///< 1 to `maxMissingFrames`.

  static constexpr std::uint32_t maxMissingFrames = 10'000'000;
};

/// The content of a scenario file.
struct Scenario {
  DeviceSettings device;
  std::shared_ptr<const host::ReadClaim> file;  ///< The file that it was read from, if any.
  std::vector<Fault> faults;  ///< By time; those of one time in the order of the file. Refusals of sessions among them.

  static constexpr std::size_t maxBytes = std::size_t{1} << 20;
  static constexpr std::size_t maxFaults = 1000;
};

/// Reads the text of a scenario; opens no file. `file` is where the text stands: messages name it, and relative paths
/// in the text count from its folder. Throws `platform::PlatformException` that names the place (`faults[2].status`)
/// and says what would be right.
Scenario parseScenario(std::string_view text, const std::filesystem::path& file);

/// Reads a scenario's file, which no writer opens while the result lives, and checks the files that it names: the
/// microphone's must be a sound file, the speaker's one that can be written. Writes nothing. Throws as `parseScenario`
/// does.
Scenario readScenario(const std::string& path);

}  // namespace orvane::simulated
