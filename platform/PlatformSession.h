// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Object.h"
#include "platform/PlatformError.h"

namespace orvane::platform {

/// Bits of a session's category options. None is set by default. Each bit is accepted by some categories only (see
/// `platform::category`) and refused by the others. The bits can be combined freely. They are requests to the platform;
/// the simulated device ignores them.
namespace session_option {

/// Allows other sessions to play at the same time. Valid for categories whose output mixes with that of others: all
/// except record and solo-ambient.
inline constexpr std::uint64_t mixWithOthers = 0x1;
/// Lowers the level of other sessions while this one plays. Valid for categories whose output mixes with that of
/// others: all except record and solo-ambient.
inline constexpr std::uint64_t duckOthers = 0x2;
/// Allows Bluetooth hands-free (HFP) headsets, whose microphone can be used as the input. Valid for categories with
/// input.
inline constexpr std::uint64_t allowHFP = 0x4;
/// Requests the speaker as the default output. Valid for categories with input and output; categories without input
/// always use the speaker.
inline constexpr std::uint64_t defaultToSpeaker = 0x8;
/// Allows other sessions to play at the same time, except those that play spoken audio. Valid for categories whose
/// output mixes with that of others: all except record and solo-ambient. `OVSession` sets and clears this bit together
/// with `mixWithOthers`.
inline constexpr std::uint64_t mixExceptWithSpokenAudio = 0x10;
/// Allows Bluetooth A2DP devices as the output. Valid for categories with output: all except record.
inline constexpr std::uint64_t allowA2DP = 0x20;
/// Allows wireless Skycast speakers as the output. Valid for categories with output: all except record.
inline constexpr std::uint64_t allowSkycast = 0x40;

}  // namespace session_option

/// An audio session of the host. Stores for what purpose its client plays or captures sound (category, mode, options),
/// and whether it is active. Thread-safe; not real-time safe.
///
/// A new session is inactive, in the category play-and-record and the default mode, without options. Setters return
/// `std::nullopt` on success. Otherwise they change nothing and return an error with the status `badParameter` or a
/// status that a scenario injects; `DeviceReport::lastRefusal` then returns it as well.
class ORVANE_EXPORT PlatformSession : public Object {
 public:
  /// Returns the category, one of the identifiers in `platform::category`.
  virtual std::string category() const = 0;
  /// Sets the category, one of the identifiers in `platform::category`; any other text is refused. Clears the options
  /// that the new category does not accept and keeps the mode.
  virtual std::optional<PlatformError> setCategory(const std::string& category) = 0;

  /// Returns the mode, one of the identifiers in `platform::mode`.
  virtual std::string mode() const = 0;
  /// Sets the mode, one of the identifiers in `platform::mode`; any other text is refused. Every category accepts every
  /// mode.
  virtual std::optional<PlatformError> setMode(const std::string& mode) = 0;

  /// Returns the category options that are set, as `session_option` bits.
  virtual std::uint64_t categoryOptions() const = 0;
  /// Sets the category, replaces the options by `options`, and keeps the mode. Refuses an unknown category, an unknown
  /// bit, and an option that the category does not accept.
  virtual std::optional<PlatformError> setCategory(const std::string& category, std::uint64_t options) = 0;

  /// Returns whether the session is active. I/O units run in inactive sessions as well.
  virtual bool isActive() const = 0;
  /// Activates or deactivates the session. Succeeds without effect if the session is already in that state.
  virtual std::optional<PlatformError> setActive(bool active) = 0;

  /// Returns the number that binds units to this session: 1 for the primary session, from 2 on for auxiliary ones.
  virtual std::uint32_t identifier() const = 0;
};

/// The session service: creates and returns the sessions of the host. Thread-safe; not real-time safe. Operations never
/// fail.
class ORVANE_EXPORT SessionService {
 public:
  virtual ~SessionService() = default;

  /// Returns the host's primary session, the same object at every call.
  virtual std::shared_ptr<PlatformSession> primary() = 0;
  /// Creates an auxiliary session with a new identifier. The session exists until the caller and all units bound to it
  /// have released it.
  virtual std::shared_ptr<PlatformSession> makeAuxiliary() = 0;
};

}  // namespace orvane::platform
