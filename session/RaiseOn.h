// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Log.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"
#include "platform/Status.h"

// The functions of OVThrow.h for objects that keep the services they were made with: they write to the log of those
// services, if it has one, instead of the log in use.

namespace orvane {

[[noreturn]] void raiseOn(const platform::Platform& services, const std::string& message);
[[noreturn]] void raiseOn(const platform::Platform& services, const std::string& message,
                          const platform::PlatformError& error);
[[noreturn]] void raiseOn(const platform::Platform& services, const std::string& message, platform::Status status);

/// Writes a line to the log of the services; does nothing if they have none.
void logOn(const platform::Platform& services, platform::LogLevel level, const std::string& line);

}  // namespace orvane
