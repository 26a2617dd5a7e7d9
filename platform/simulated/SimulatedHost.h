// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "platform/Platform.h"

namespace orvane::simulated {

/// Creates a host with a simulated audio device; `platform::makeSimulatedHost` describes the options.
platform::Platform makeSimulatedHost(std::string_view options);

}  // namespace orvane::simulated
