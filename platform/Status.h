// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Export.h"

namespace orvane::platform {

/// The outcome of a host call: 0 is success, anything else a failure. Hosts may return values that are not in the
/// table.
using Status = std::int32_t;

namespace status {

inline constexpr Status success = 0;
inline constexpr Status badParameter = -1;
inline constexpr Status notFound = -2;
inline constexpr Status noPermission = -3;
inline constexpr Status diskFull = -4;
inline constexpr Status notRegularFile = -5;
inline constexpr Status invalidFile = -6;
inline constexpr Status unsupportedType = -7;
inline constexpr Status unsupportedFormat = -8;
inline constexpr Status deviceLost = -9;
inline constexpr Status serverLost = -10;
inline constexpr Status overrun = -11;
inline constexpr Status noDevice = -12;        ///< The host has no hardware for what was asked.
inline constexpr Status wrongState = -13;      ///< The call does not fit the object's state.
inline constexpr Status unknownSession = -14;  ///< No session has this identifier.
inline constexpr Status noInput = -15;         ///< The session's category has no input.
inline constexpr Status noOutput = -16;        ///< The session's category has no output.
inline constexpr Status ioFailure = -17;       ///< The operating system failed in a way that has no entry here.
inline constexpr Status stalled = -18;         ///< The device stopped calling back.
inline constexpr Status badSlice = -19;        ///< The device delivered a slice that does not fit its format.

}  // namespace status

/// The meaning of a status, in words for people: "disk full"; "unknown status" for a value that is not in the table.
/// Any thread; real-time safe.
ORVANE_EXPORT std::string_view statusMeaning(Status value);

}  // namespace orvane::platform
