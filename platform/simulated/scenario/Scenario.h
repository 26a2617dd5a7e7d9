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

/// A fault to simulate. Except for a discontinuity, it stays in force once its time has come.
struct Fault {
  enum class Kind {
    microphoneUnplugged,  ///< The input is silent; if a client uses it, the device fails.
    deviceLost,           ///< The device fails with `deviceLost` and does not start again.
    serverLost,           ///< The device fails with `serverLost` and does not start again.
    stalled,              ///< The device stops calling back without a report.
    discontinuity,        ///< `frames` frames are lost, once.
    refuse,               ///< The host call `call`, or the render operation, is refused with `status`.
    diskFull,             ///< Writes to files fail.
  };

  Kind kind{};
  platform::HostTime at{};      ///< After the device's first start; 0 is in force before it as well.
  platform::Status status = 0;  ///< Of a refusal: not 0, except for calls that return an object.
  std::string call = {};        ///< The name of a `host::GatedCall`.
  std::string reason = {};      ///< Reason of the refusal.
  std::uint32_t frames = 0;     ///< Of a discontinuity: 1 to `maxMissingFrames`.

  static constexpr std::uint32_t maxMissingFrames = 10'000'000;
};

/// The content of a scenario file.
struct Scenario {
  DeviceSettings device;
  std::shared_ptr<const host::ReadClaim> file;  ///< The file that it was read from; null for a text.
  std::vector<Fault> faults;  ///< By time; those of one time in the order of the file. Refusals of sessions among them.

  static constexpr std::size_t maxBytes = std::size_t{1} << 20;
  static constexpr std::size_t maxFaults = 1000;
};

/// Parses the text of a scenario without opening files. `file` is the scenario's path: messages name it, and relative
/// paths in the text are resolved against its folder. Throws `platform::PlatformException` that names the place
/// (`faults[2].status`) and states what would be right.
Scenario parseScenario(std::string_view text, const std::filesystem::path& file);

/// Reads a scenario's file and checks the files that it names: the microphone's must be a sound file, the speaker's
/// must be writable. Changes no file. While the result exists, no writer opens the scenario's file. Throws as
/// `parseScenario` does.
Scenario readScenario(const std::string& path);

}  // namespace orvane::simulated
