// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "platform/Export.h"
#include "platform/PlatformError.h"
#include "platform/Subscription.h"

namespace orvane::platform {

/// A number of packets and the number of their data bytes.
struct MidiCount {
  std::uint64_t packets = 0;
  std::uint64_t bytes = 0;
};

/// The report service for MIDI: returns the counts of a run and tells when nothing more is to be done.
///
/// A host is active while a sequence player is playing, a source that plays a file is playing, or packets wait for
/// their time or their delivery. Thread-safe; not real-time safe. Operations never fail.
class ORVANE_EXPORT MidiReport {
 public:
  virtual ~MidiReport() = default;

  /// If it is known that MIDI cannot be used, returns the reason: `noDevice` (the host has no MIDI) or `serverLost`.
  /// Otherwise returns `std::nullopt`.
  virtual std::optional<Failure> whyUnavailable() const = 0;
  /// Returns the packets that were sent to destinations since the host was created, without those that still wait and
  /// those that were lost before they left.
  virtual MidiCount sent() const = 0;
  /// Returns the packets that were passed to receive functions since the host was created; a packet that reached
  /// several ports counts once for each.
  virtual MidiCount received() const = 0;
  /// Returns the packets of sources that were dropped because they arrived faster than they could be delivered.
  virtual std::uint64_t dropped() const = 0;
  /// Returns how often packets may have been lost on a device with a clock of its own, because cycles of the device
  /// were lost or a cycle's packets came too late; always 0 on the simulated host.
  virtual std::uint64_t discontinuities() const = 0;
  /// Returns whether the host is active.
  virtual bool isActive() const = 0;
  /// Returns whether a source that plays a file has started and come to its end.
  virtual bool inputEnded() const = 0;
  /// Returns why the MIDI connection ended (`serverLost`, or `stalled` if the server stopped responding), that an
  /// endpoint or a port was removed while it was used (`deviceLost`), or, at the exit of the process, that packets were
  /// lost because no destination took them (`stalled`); `std::nullopt` if none of them happened.
  virtual std::optional<Failure> failure() const = 0;

  /// Subscribes `notice`, which is called on a worker of the host each time the host stops being active and when
  /// `failure` becomes known. If either has already happened, it is also called soon after this call. `notice` must not
  /// be empty, wait or throw.
  virtual Subscription onActivityEnd(std::function<void()> notice) = 0;
};

}  // namespace orvane::platform
