// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/Clock.h"
#include "platform/pipewire/CycleClock.h"

// The form that MIDI has in a cycle of the graph. All functions are real-time safe.
namespace orvane::pipewire {

/// Limits of the server for a cycle of a port: it drops longer ones without notice.
struct MidiCycleLimits {
  static constexpr std::size_t cycleBytes = 3584;  ///< Of the sequence with its headers.
  static constexpr std::size_t pieceBytes = 1024;  ///< Of a control; longer system-exclusive messages are split.
};

/// Returns how many of the bytes are the first message, or the first piece of a system-exclusive message. Data bytes
/// without a status byte are a piece up to the next status byte. `bytes` must not be empty. `maxPiece` limits the
/// pieces of system-exclusive messages and of data bytes.
inline std::size_t firstPiece(std::span<const std::uint8_t> bytes, std::size_t maxPiece = MidiCycleLimits::pieceBytes) {
  constexpr std::uint8_t exclusiveStart = 0xF0;
  constexpr std::uint8_t exclusiveEnd = 0xF7;
  const std::uint8_t status = bytes.front();
  if (status > exclusiveStart && status != 0xF1 && status != 0xF2 && status != 0xF3) return 1;
  const bool isLong = status < 0x80 || status == exclusiveStart;
  const bool isShort = (status & 0xF0) == 0xC0 || (status & 0xF0) == 0xD0 || status == 0xF1 || status == 0xF3;
  const std::size_t limit = std::min(bytes.size(), isLong    ? std::min(maxPiece, MidiCycleLimits::pieceBytes)
                                                   : isShort ? 2
                                                             : std::size_t{3});
  std::size_t size = 1;
  while (size < limit && bytes[size] < 0x80) ++size;
  if (isLong && size < limit && bytes[size] == exclusiveEnd) ++size;
  return size;
}

/// Maps the frames of a cycle to the host clock.
class MidiCycle {
 public:
  /// `hostOffset` is the host clock's time minus CLOCK_MONOTONIC.
  MidiCycle(const Cycle& cycle, platform::HostTime hostOffset)
      : mBegin(platform::HostTime(cycle.nanoseconds) + hostOffset), mFrames(cycle.frames), mRate(cycle.rate) {}

  platform::HostTime timeOf(std::uint32_t frame) const {
    return mBegin + platform::HostTime(std::int64_t{std::min(frame, mFrames)} * nanoseconds / mRate);
  }
  /// Returns the time after the last frame, when the next cycle begins.
  platform::HostTime end() const { return timeOf(mFrames); }
  /// Returns whether an event of this time leaves in this cycle or earlier. One after the beginning of the last frame
  /// leaves in the first frame of the next cycle.
  bool isDue(platform::HostTime time) const { return time <= timeOf(mFrames - 1); }
  /// Returns the frame for a time that is due; the first one for a time before the cycle.
  std::uint32_t frameOf(platform::HostTime time) const {
    if (time <= mBegin) return 0;
    // The next frame rather than an early one; a frame's own time gives that frame.
    const auto frame = static_cast<std::uint32_t>(((time - mBegin).count() * mRate + nanoseconds - 1) / nanoseconds);
    return std::min(frame, mFrames - 1);
  }

 private:
  static constexpr std::int64_t nanoseconds = 1'000'000'000;

  const platform::HostTime mBegin;
  const std::uint32_t mFrames;
  const std::uint32_t mRate;
};

}  // namespace orvane::pipewire
