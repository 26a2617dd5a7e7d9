// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Log.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"
#include "platform/PlatformException.h"
#include "platform/Status.h"

// Variants of the functions in OVThrow.h for objects that keep the services with which they were created: each writes
// to the log of `services`, if there is one, instead of the log of the host in use.

namespace orvane {

[[noreturn]] void raiseOn(const platform::Platform& services, const std::string& message);
[[noreturn]] void raiseOn(const platform::Platform& services, const std::string& message,
                          const platform::PlatformError& error);
[[noreturn]] void raiseOn(const platform::Platform& services, const std::string& message,
                          const platform::PlatformException& exception);
[[noreturn]] void raiseOn(const platform::Platform& services, const std::string& message, platform::Status status);

/// Writes a line to the log of `services`; does nothing if they have no log.
void logOn(const platform::Platform& services, platform::LogLevel level, const std::string& line);

}  // namespace orvane
