#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

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

/// What a status means, in words for people; "unknown status" for a value that is not in the table. Real-time safe.
constexpr std::string_view statusMeaning(Status value) {
  constexpr std::array<std::pair<Status, std::string_view>, 20> table{{
      {status::success, "success"},
      {status::badParameter, "bad parameter"},
      {status::notFound, "not found"},
      {status::noPermission, "no permission"},
      {status::diskFull, "disk full"},
      {status::notRegularFile, "not a regular file"},
      {status::invalidFile, "invalid file"},
      {status::unsupportedType, "unsupported file type"},
      {status::unsupportedFormat, "unsupported format"},
      {status::deviceLost, "device lost"},
      {status::serverLost, "server lost"},
      {status::overrun, "overrun"},
      {status::noDevice, "no such device"},
      {status::wrongState, "not possible in this state"},
      {status::unknownSession, "no session has this identifier"},
      {status::noInput, "the session's category has no input"},
      {status::noOutput, "the session's category has no output"},
      {status::ioFailure, "input or output failed"},
      {status::stalled, "the device stalled"},
      {status::badSlice, "the device delivered a bad slice"},
  }};
  for (const auto& [status, meaning] : table) {
    if (status == value) return meaning;
  }
  return "unknown status";
}

}  // namespace orvane::platform
