// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "platform/Platform.h"

namespace orvane::simulated {

/// See `platform::makeSimulatedHost`.
platform::Platform makeSimulatedHost(std::string_view options);

}  // namespace orvane::simulated
