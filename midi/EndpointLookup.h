// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "platform/MidiService.h"
#include "platform/Platform.h"

// The lookups of `OVMIDIBase` for objects that keep the services with which they were created. They raise the same
// exceptions, and also "MidiService is not available on this host".

namespace orvane {

using MidiName = std::optional<std::string>;

platform::MidiObjectRef sourceWithName(const platform::Platform& services, const MidiName& name);
platform::MidiObjectRef destinationWithName(const platform::Platform& services, const MidiName& name);
platform::MidiObjectRef defaultSource(const platform::Platform& services);
platform::MidiObjectRef defaultDestination(const platform::Platform& services);

}  // namespace orvane
