// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "platform/Clock.h"

namespace orvane::pipewire {

/// A cycle of the graph, as its driver's clock tells it.
struct Cycle {
  std::uint64_t nanoseconds = 0;  ///< On CLOCK_MONOTONIC: when the cycle began.
  std::uint64_t position = 0;     ///< Frames since the driver started.
  std::uint32_t frames = 0;
  std::uint32_t rate = 0;
  std::uint32_t driver = 0;  ///< The clock's identifier: another driver counts from another position.
};

/// Follows the clock of the graph from cycle to cycle: finds lost cycles, and maps its time to the host clock. Used on
/// the device callback; real-time safe.
class CycleClock {
 public:
  /// `offset` is the host clock's time minus CLOCK_MONOTONIC.
  explicit CycleClock(platform::HostTime offset) : mOffset(offset) {}

  /// Takes the next cycle. Returns the frames missing between it and the one before: 0 for the first cycle. After the
  /// driver has changed, the missing frames are those of the time that passed.
  std::uint64_t advance(const Cycle& cycle);

  /// The host time at which the first input frame of the cycle was captured: a cycle before it begins.
  platform::HostTime captureTime(const Cycle& cycle) const;

 private:
  const platform::HostTime mOffset;
  std::optional<Cycle> mLast;
};

}  // namespace orvane::pipewire
