// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/host/files/FileRegistry.h"
#include "platform/simulated/midi/MidiSettings.h"
#include "platform/simulated/scenario/ScenarioNode.h"

namespace orvane::simulated {

/// Reads the object under the key `midi` of a scenario. Opens no file; relative paths are resolved against `folder`.
/// Throws a `platform::PlatformException` that names the wrong place and states what would be right.
MidiSettings readMidiSettings(const ScenarioNode& node, const std::filesystem::path& folder);

/// Parses the text of a file that holds such an object. `where` is the beginning of all messages.
MidiSettings parseMidiInventory(std::string_view text, const std::string& where, const std::filesystem::path& folder);

/// Reads a file that holds such an object. `claim` becomes a claim on the file.
MidiSettings readMidiInventory(const Given<std::string>& path, std::shared_ptr<const host::ReadClaim>& claim);

}  // namespace orvane::simulated
