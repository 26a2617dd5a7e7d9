// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Export.h"

namespace orvane::platform {

/// The outcome of a host call: 0 is success, any other value a failure. Hosts may return values that `status` does not
/// list.
using Status = std::int32_t;

/// Named values of `Status`.
namespace status {

inline constexpr Status success = 0;
inline constexpr Status badParameter = -1;       ///< An argument is out of range or names no existing object.
inline constexpr Status notFound = -2;           ///< The file or one of its folders does not exist.
inline constexpr Status noPermission = -3;       ///< Access to the file is denied, or the file is in use.
inline constexpr Status diskFull = -4;           ///< The disk or the quota is full.
inline constexpr Status notRegularFile = -5;     ///< The path leads to a folder, a device or a pipe.
inline constexpr Status invalidFile = -6;        ///< The file's content cannot be decoded.
inline constexpr Status unsupportedType = -7;    ///< The host does not support this file type.
inline constexpr Status unsupportedFormat = -8;  ///< The host does not support this stream format here.
inline constexpr Status deviceLost = -9;         ///< The audio device is gone.
inline constexpr Status serverLost = -10;        ///< The connection to the sound server is gone.
inline constexpr Status overrun = -11;           ///< A queue was full, and the data was dropped.
inline constexpr Status noDevice = -12;          ///< The host has no hardware for the request.
inline constexpr Status wrongState = -13;        ///< The object's state does not allow the call.
inline constexpr Status unknownSession = -14;    ///< No session has this identifier.
inline constexpr Status noInput = -15;           ///< The session's category has no input.
inline constexpr Status noOutput = -16;          ///< The session's category has no output.
inline constexpr Status ioFailure = -17;         ///< Another failure of the operating system.
inline constexpr Status stalled = -18;           ///< The device stopped calling back.
inline constexpr Status badSlice = -19;          ///< The device delivered a slice that does not fit its format.

}  // namespace status

/// Returns the meaning of a status in words, such as "disk full"; "unknown status" for a value without a name.
/// Thread-safe; real-time safe.
ORVANE_EXPORT std::string_view statusMeaning(Status value);

}  // namespace orvane::platform
