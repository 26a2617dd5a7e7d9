// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "platform/Platform.h"

class OVSession;

namespace orvane {

/// Returns the identifier of the platform session of `session`. Returns `std::nullopt` if the session has no platform
/// session, or if it is the process's primary one, to which everything belongs without being bound.
std::optional<std::uint32_t> sessionToBind(const platform::Platform& services, const OVSession& session);

}  // namespace orvane
