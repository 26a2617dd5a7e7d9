// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
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
#include "platform/simulated/midi/MidiSettings.h"

namespace orvane::simulated {

/// A fault to simulate. All faults except discontinuities remain in force from their time on.
struct Fault {
  enum class Kind {
    microphoneUnplugged,  ///< The input is silent; if a client uses the input, the device fails.
    deviceLost,           ///< The device fails with `deviceLost` and does not start again.
    serverLost,           ///< The device fails with `serverLost` and does not start again.
    stalled,              ///< The device stops making callbacks and reports nothing.
    discontinuity,        ///< `frames` frames are lost once.
    refuse,               ///< The operation `call` is refused with `status`.
    diskFull,             ///< Writes to files fail.
  };

  Kind kind{};
  platform::HostTime at{};      ///< Time since the device's first start; a fault at 0 is in force even before that.
  platform::Status status = 0;  ///< Status of a refusal; not 0, except for calls that return an object.
  std::string call = {};        ///< The refused operation: the name of a `host::GatedCall`.
  std::string reason = {};      ///< Reason of the refusal.
  std::uint32_t frames = 0;     ///< Lost frames of a discontinuity: 1 to `maxMissingFrames`.

  static constexpr std::uint32_t maxMissingFrames = 10'000'000;
};

/// The content of a scenario file: the simulated device's settings, and the faults to simulate.
struct Scenario {
  DeviceSettings device;
  std::optional<MidiSettings> midi;             ///< Empty if the scenario has no key `midi`.
  std::shared_ptr<const host::ReadClaim> file;  ///< Claim on the file that was read; null if a text was parsed.
  std::vector<Fault>
      faults;  ///< Sorted by time, then in the order of the file; includes the refusals of session operations.

  static constexpr std::size_t maxFaults = 1000;
};

/// Parses the text of a scenario without opening files. `file` is the path of the scenario: it appears in messages, and
/// relative paths in the text are resolved against its folder. Throws a `platform::PlatformException` that names the
/// wrong place, such as "faults[2].status", and states what would be right.
Scenario parseScenario(std::string_view text, const std::filesystem::path& file);

/// Reads a scenario file and checks the files that it names: the microphone's must be a sound file, those of MIDI
/// sources must be standard MIDI files, and the speaker's and the MIDI capture must be writable. Changes no file. While
/// the result exists, the scenario file cannot be overwritten by this process. Throws a `platform::PlatformException`
/// that names the wrong place, such as "faults[2].status", and states what would be right.
Scenario readScenario(const std::string& path);

}  // namespace orvane::simulated
