// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "platform/Export.h"
#include "platform/Platform.h"

/// A numbered system sound (see `platform::SystemSoundService`). Immutable. Thread-safe; not real-time safe.
///
/// An identifier without a sound is not an error: nothing is played, and the host logs a line. Both operations raise
/// "SystemSoundService is not available on this host" if the host has no such service.
class ORVANE_EXPORT OVSystemSound {
 public:
  /// Creates an object for the sound with this identifier. The service takes the low 32 bits.
  static std::shared_ptr<OVSystemSound> initWithID(std::uint64_t ssid);

  /// Returns the identifier given to `initWithID`, with all its bits.
  std::uint64_t ssid() const { return _ssid; }

  /// Starts the sound and returns at once.
  void play();
  /// Plays the sound and returns when the last sample has been played. Waits without a time limit, so it must not be
  /// called in a worker's task. Also raises "Scheduler is not available on this host".
  void playAndWait();

 private:
  explicit OVSystemSound(std::uint64_t ssid);

  const orvane::platform::Platform mServices;
  const std::uint64_t _ssid;
};
