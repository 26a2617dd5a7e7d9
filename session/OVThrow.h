// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Export.h"
#include "platform/PlatformError.h"
#include "platform/PlatformException.h"
#include "platform/Status.h"
#include "session/OVTException.h"

// How the library reports every failure: these functions write "Failure: " and the final message to the platform log as
// an error, then throw it as an `OVTException`. They never return, undo nothing, keep no state and may be called on any
// thread except the device callback. No text is ever taken as a format.

/// Raises `message` as it is.
[[noreturn]] ORVANE_EXPORT void _OVThrowMsg(const std::string& message);

/// Raises "message: why" for a host call that handed back an error; why is its localized description.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message, const orvane::platform::PlatformError& error);

/// Raises "message: why" for a host call that threw; why is the exception's description.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message,
                                        const orvane::platform::PlatformException& exception);

/// Raises "message: -50" for a host call that returned a status; always in signed decimal, 0 included.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message, orvane::platform::Status status);
