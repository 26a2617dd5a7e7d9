// SPDX-License-Identifier: MIT
#include "platform/pipewire/CycleClock.h"

namespace orvane::pipewire {

namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
/// A driver's wake-up may be late by much less, without a loss.
constexpr std::uint64_t stopTolerance = 200'000'000;

std::uint64_t framesIn(std::uint64_t nanoseconds, std::uint32_t rate) {
  return nanoseconds / nanosecondsPerSecond * rate + nanoseconds % nanosecondsPerSecond * rate / nanosecondsPerSecond;
}

}  // namespace

std::uint64_t CycleClock::advance(const Cycle& cycle) {
  const std::optional<Cycle> last = mLast;
  mLast = cycle;
  if (!last) return 0;
  const std::uint64_t time =
      cycle.nanoseconds > last->nanoseconds ? framesIn(cycle.nanoseconds - last->nanoseconds, cycle.rate) : 0;
  if (last->driver == cycle.driver && last->rate == cycle.rate && cycle.position >= last->position) {
    const std::uint64_t passed = cycle.position - last->position;
    // A driver that was stopped counts on where it was.
    if (time > passed + framesIn(stopTolerance, cycle.rate)) return time - last->frames;
    return passed > last->frames ? passed - last->frames : 0;
  }
  // Positions of two drivers have nothing to do with each other, so only time tells. A driver begins its first cycle at
  // any moment, so less than a cycle is no loss.
  return time > std::uint64_t{last->frames} + cycle.frames ? time - last->frames : 0;
}

platform::HostTime CycleClock::captureTime(const Cycle& cycle) const {
  const std::uint64_t duration = cycle.rate == 0 ? 0 : cycle.frames * nanosecondsPerSecond / cycle.rate;
  return platform::HostTime(cycle.nanoseconds) - platform::HostTime(duration) + mOffset;
}

}  // namespace orvane::pipewire
