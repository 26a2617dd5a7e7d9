// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/MidiService.h"
#include "platform/Value.h"
#include "platform/backend/MidiTransport.h"
#include "platform/host/midi/StandardMidiFile.h"
#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// A change of the inventory at a given time.
struct MidiEventSetting {
  platform::HostTime at{};  ///< Since the creation of the host.
  std::int32_t kind = 0;    ///< The kind of the notification: a `platform::MidiNotification::Kind` or another number.
  platform::MidiObjectRef parent{};
  platform::MidiObjectRef object{};           ///< The child that appears or goes, or the object that changes.
  std::string property = {};                  ///< The property that changes.
  std::optional<platform::Value> value = {};  ///< Its new value; empty if nothing but the notification happens.
};

/// A source that plays a file.
struct PlayedSource {
  platform::MidiObjectRef source{};
  Given<std::string> path;
  std::shared_ptr<const host::MidiFileContent> content = nullptr;  ///< Null until `loadPlayedFiles`.
};

/// The settings of simulated MIDI devices.
struct MidiSettings {
  std::vector<backend::MidiObject> objects;  ///< In order of the inventory; handles count from 1.
  std::vector<PlayedSource> played;
  std::vector<MidiEventSetting> events;       ///< Sorted by time.
  std::optional<Given<std::string>> capture;  ///< The path of the file that records what destinations receive.

  static constexpr std::size_t maxObjects = 4096;
  static constexpr std::size_t maxEvents = 10'000;
};

/// Returns the inventory that is used if none is given: "Simulated Keyboard" with the source "Keyboard" and the
/// destination "Synth", and "Loopback" with a source and a destination of that name.
MidiSettings defaultMidiSettings();

/// Makes the first source of the inventory that is present play a file. Throws `platform::PlatformException` if there
/// is none.
void playFirstSource(MidiSettings& settings, const Given<std::string>& path);

/// Reads the files that sources play. Throws a `platform::PlatformException` that names the setting.
void loadPlayedFiles(MidiSettings& settings);

}  // namespace orvane::simulated
