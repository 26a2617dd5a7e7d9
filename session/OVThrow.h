// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Export.h"
#include "platform/PlatformError.h"
#include "platform/PlatformException.h"
#include "platform/Status.h"
#include "session/OVTException.h"

// The functions through which the library reports failures. Each writes "Failure: MESSAGE" as an error line to the log
// in use (none is written on a host without a log), then throws MESSAGE as an `OVTException`. They never return and
// keep no state. Texts are never interpreted as format strings. Thread-safe; not real-time safe.

/// Raises `message` unchanged.
[[noreturn]] ORVANE_EXPORT void _OVThrowMsg(const std::string& message);

/// Raises "MESSAGE: REASON" for a host call that returned an error; REASON is its `localizedDescription()`.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message, const orvane::platform::PlatformError& error);

/// Raises "MESSAGE: REASON" for a host call that threw; REASON is the exception's `description()`.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message,
                                        const orvane::platform::PlatformException& exception);

/// Raises "MESSAGE: STATUS" for a host call that returned a status, which is written in signed decimal: "MESSAGE: -10".
/// Raises for any status, 0 included.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message, orvane::platform::Status status);
