// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Object.h"
#include "platform/PlatformError.h"

namespace orvane::platform {

/// Bits of a session's category options. None is set by default. Each is accepted by some categories only (see
/// `platform::category`) and refused by the others. The bits are independent of each other. They are requests to the
/// platform: the simulated device plays and captures the same with every option.
namespace session_option {

/// Play together with other sessions. Categories whose output mixes with others: all but record and solo-ambient.
inline constexpr std::uint64_t mixWithOthers = 0x1;
/// Lower the level of other sessions while this one plays. Categories whose output mixes with others.
inline constexpr std::uint64_t duckOthers = 0x2;
/// Allow hands-free headsets (Bluetooth HFP), whose microphone can be the input. Categories with input.
inline constexpr std::uint64_t allowHFP = 0x4;
/// Request the speaker as the default output. Categories with input and output; those without input use it anyway.
inline constexpr std::uint64_t defaultToSpeaker = 0x8;
/// Play together with other sessions except those that play spoken audio. Categories whose output mixes with others.
/// `OVSession` sets and clears this bit together with `mixWithOthers`.
inline constexpr std::uint64_t mixExceptWithSpokenAudio = 0x10;
/// Allow Bluetooth A2DP devices as the output. Categories with output: all but record.
inline constexpr std::uint64_t allowA2DP = 0x20;
/// Allow wireless Skycast speakers as the output. Categories with output: all but record.
inline constexpr std::uint64_t allowSkycast = 0x40;

}  // namespace session_option

/// An audio session of the host: the purpose of its client's sound, and whether it is active. Thread-safe; not
/// real-time safe.
///
/// A new session is inactive, in the category play-and-record and the default mode, without options. Setters return
/// nothing on success, or the reason of a refusal with the status `badParameter`, or the status that a scenario
/// injects; a refused call changes nothing and is kept as `DeviceReport::lastRefusal`.
class ORVANE_EXPORT PlatformSession : public Object {
 public:
  /// Returns one of the identifiers in `platform::category`.
  virtual std::string category() const = 0;
  /// Sets the category, one of the identifiers in `platform::category`; any other text is refused. Clears the options
  /// that the new category does not accept and keeps the mode.
  virtual std::optional<PlatformError> setCategory(const std::string& category) = 0;

  /// Returns one of the identifiers in `platform::mode`.
  virtual std::string mode() const = 0;
  /// Sets the mode, one of the identifiers in `platform::mode`; any other text is refused. Every category accepts every
  /// mode.
  virtual std::optional<PlatformError> setMode(const std::string& mode) = 0;

  /// Returns the set `session_option` bits.
  virtual std::uint64_t categoryOptions() const = 0;
  /// Sets the category and exactly these options, and keeps the mode. Refused for an unknown category or bit and for an
  /// option that the category does not accept.
  virtual std::optional<PlatformError> setCategory(const std::string& category, std::uint64_t options) = 0;

  /// Whether the session is active. Units run in inactive sessions as well.
  virtual bool isActive() const = 0;
  /// Activates or deactivates the session; setting the present state again succeeds.
  virtual std::optional<PlatformError> setActive(bool active) = 0;

  /// Returns the number that binds units to this session: 1 for the primary session, from 2 on for auxiliary ones.
  virtual std::uint32_t identifier() const = 0;
};

/// Makes and returns the sessions of the host. Thread-safe; not real-time safe. Operations never fail.
class ORVANE_EXPORT SessionService {
 public:
  virtual ~SessionService() = default;

  /// Returns the host's primary session, the same object at every call.
  virtual std::shared_ptr<PlatformSession> primary() = 0;
  /// Makes an auxiliary session with an identifier of its own. It exists as long as the caller or a bound unit holds
  /// it.
  virtual std::shared_ptr<PlatformSession> makeAuxiliary() = 0;
};

}  // namespace orvane::platform
