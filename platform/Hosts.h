// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/Platform.h"

namespace orvane::platform {

// The functions below are thread-safe and not real-time safe.

/// Returns the names of the hosts that the library knows, and of those available on this machine, in order of
/// preference. `current` uses the first available one by default.
ORVANE_EXPORT std::vector<std::string> knownHosts();
ORVANE_EXPORT std::vector<std::string> availableHosts();

/// Makes a host by name and does not put it in use (see `use`). `options` depend on the host; `makeSimulatedHost` has
/// those of "simulated". Throws `PlatformException` for an unknown or unavailable name, with the names that are
/// available, and for wrong options.
ORVANE_EXPORT Platform makeHost(std::string_view name, std::string_view options = {});

/// Makes a host with a simulated audio device. `options` has the form `KEY=VALUE[,KEY=VALUE…]`; an empty text gives the
/// defaults. In `mic`, `speaker` and `scenario`, `\,` stands for a comma and `\\` for a backslash.
///
/// | Key | Value | Default |
/// |---|---|---|
/// | `mic` | path of a sound file, `tone:HZ[:AMPLITUDE]`, `noise[:SEED]`, `silence` or `loop` (the speaker) | `silence`
/// | | `speaker` | `null`, or the path of a 32-bit float WAVE file to write | `null` | | `rate` | hertz, 0 (the
/// hardware reports none) to 768000 | 48000, or the file's | | `inputs` | channels, 0 to 64 | 1, or the file's | |
/// `outputs` | channels, 0 to 64 | 2 | | `slice` | frames, 1 to 8192 | 256 | | `pace` | `real`, or `fast` for a run
/// that does not wait for the clock | `real` | | `scenario` | path of a JSON file with settings, refusals and faults |
/// none |
///
/// A key given here overrides the same setting in the scenario. Options and scenario are checked completely before the
/// host is made, overridden settings included. Throws `PlatformException` that names the wrong key and states what
/// would be right, and for files that cannot be read or written.
///
/// At fast pace the host clock jumps from task to task while the caller waits, so repeated runs give the same bytes.
/// The installed simulated-device.md describes microphones, scenarios and faults.
ORVANE_EXPORT Platform makeSimulatedHost(std::string_view options = {});

}  // namespace orvane::platform
