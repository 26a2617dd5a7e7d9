// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/Platform.h"

namespace orvane::platform {

/// The names of the hosts that this library knows, and of those that are available here; the first available one is the
/// default. Any thread.
ORVANE_EXPORT std::vector<std::string> knownHosts();
ORVANE_EXPORT std::vector<std::string> availableHosts();

/// Makes the host of that name; `options` are its own (see `makeSimulatedHost`). Throws `PlatformException` for a name
/// that is not known or not available, with the names that are, and for wrong options. Any thread.
ORVANE_EXPORT Platform makeHost(std::string_view name, std::string_view options = {});

/// A host on a simulated device in this process, set up by `KEY=VALUE[,KEY=VALUE…]`; an empty text gives the defaults.
/// Throws `PlatformException` that names the wrong key and what would be right.
///
/// Keys: `mic` (a file's path, `tone:HZ[:AMPLITUDE]`, `noise[:SEED]`, `silence`, `loop`), `speaker` (`null` or the path
/// of a 32-bit float WAVE file to write), `rate` (hertz, 0 to 768000), `inputs`, `outputs` (channels, 0 to 64), `slice`
/// (frames, 1 to 8192), `pace` (`real` or `fast`), `scenario` (the path of a JSON file with settings of the device,
/// refusals and faults; docs/simulated-device.md describes it).
///
/// A key given here overrides the same setting in the scenario. Both are checked whole before
/// anything starts, a scenario's setting that another one replaces included.
///
/// At fast pace the host clock jumps from task to task while the caller waits, so the same run gives the same bytes.
ORVANE_EXPORT Platform makeSimulatedHost(std::string_view options = {});

}  // namespace orvane::platform
