// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Object.h"
#include "platform/PlatformError.h"

namespace orvane::platform {

/// Bits of a session's category options.
namespace session_option {

inline constexpr std::uint64_t mixWithOthers = 0x1;
inline constexpr std::uint64_t duckOthers = 0x2;
inline constexpr std::uint64_t allowHFP = 0x4;
inline constexpr std::uint64_t defaultToSpeaker = 0x8;
inline constexpr std::uint64_t mixExceptWithSpokenAudio = 0x10;
inline constexpr std::uint64_t allowA2DP = 0x20;
inline constexpr std::uint64_t allowSkycast = 0x40;

}  // namespace session_option

/// One audio session of the host: what its user's sound is for, and whether it is active. Any thread; not real-time
/// safe.
///
/// Setters return why they were refused, or nothing on success; a refused call changes nothing.
class ORVANE_EXPORT PlatformSession : public Object {
 public:
  /// One of `platform::category`.
  virtual std::string category() const = 0;
  /// Sets the category alone. Options that make no sense with the new category are dropped, the mode stays.
  virtual std::optional<PlatformError> setCategory(const std::string& category) = 0;

  /// One of `platform::mode`.
  virtual std::string mode() const = 0;
  virtual std::optional<PlatformError> setMode(const std::string& mode) = 0;

  /// A set of `session_option` bits.
  virtual std::uint64_t categoryOptions() const = 0;
  virtual std::optional<PlatformError> setCategory(const std::string& category, std::uint64_t options) = 0;

  virtual bool isActive() const = 0;
  virtual std::optional<PlatformError> setActive(bool active) = 0;

  /// The number under which units, engines and queues are bound to this session.
  virtual std::uint32_t identifier() const = 0;
};

/// Hands out the sessions of the host. Any thread.
class ORVANE_EXPORT SessionService {
 public:
  virtual ~SessionService() = default;

  /// The one primary session of the process; the same object at every call.
  virtual std::shared_ptr<PlatformSession> primary() = 0;
  /// A new auxiliary session with an identifier of its own.
  virtual std::shared_ptr<PlatformSession> makeAuxiliary() = 0;
};

}  // namespace orvane::platform
