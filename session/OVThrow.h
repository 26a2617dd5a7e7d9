// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Export.h"
#include "platform/PlatformError.h"
#include "platform/PlatformException.h"
#include "platform/Status.h"
#include "session/OVTException.h"

// The functions with which the library raises failures. Each composes a message, writes "Failure: MESSAGE" as an error
// line to the log of the host in use (if it has one), and throws the message as an `OVTException`. They never return
// and keep no state. Texts are never interpreted as format strings. Thread-safe; not real-time safe.

/// Raises an `OVTException` with the message `message`.
[[noreturn]] ORVANE_EXPORT void _OVThrowMsg(const std::string& message);

/// Raises an `OVTException` with the message "MESSAGE: REASON" for a host call that returned an error. REASON is the
/// error's `localizedDescription()`.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message, const orvane::platform::PlatformError& error);

/// Raises an `OVTException` with the message "MESSAGE: REASON" for a host call that threw an exception. REASON is the
/// exception's `description()`.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message,
                                        const orvane::platform::PlatformException& exception);

/// Raises an `OVTException` with the message "MESSAGE: STATUS" for a host call that returned a status. STATUS is a
/// signed decimal number, as in "MESSAGE: -10". Any status is accepted, including 0.
[[noreturn]] ORVANE_EXPORT void OVThrow(const std::string& message, orvane::platform::Status status);
