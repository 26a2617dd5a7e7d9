// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/Export.h"
#include "platform/Subscription.h"

namespace orvane::platform {

/// A numbered system sound.
struct SystemSound {
  std::uint32_t identifier = 0;
  std::string name;  ///< The name in sound themes, such as "bell".
};

/// Options of a system sound. None is defined: the host ignores them.
struct SystemSoundOptions {};

/// The service for system sounds: plays short numbered sounds on the audio output. Several sounds can play at a time.
///
/// A sound is the file of its name in the sound theme "freedesktop" (`sounds/freedesktop/stereo/NAME.oga`, `.ogg` or
/// `.wav` in the folders of the environment variable `XDG_DATA_DIRS`, by default /usr/local/share and /usr/share).
/// Without such a file it is a short synthesised sound of its own.
///
/// The first sound starts the audio device, which then runs until the host is destroyed or the run ends by itself (see
/// `DeviceReport::deviceEnd`); a later sound, or another user of the device, starts it again. Up to 32 sounds play at a
/// time, and up to 1000 more wait for their end.
///
/// Thread-safe; not real-time safe. Calling `play` on the device callback, or in a worker's task while the device is
/// running, ends the process with a message.
class ORVANE_EXPORT SystemSoundService {
 public:
  virtual ~SystemSoundService() = default;

  /// Starts a sound and returns at once. Calls `completion`, which may be empty, exactly once: when the last sample of
  /// the sound has been heard, when the run of the device ends, when the device
  /// changes to a format in which the sound cannot be played, or at once (with a warning in the log) if no sound has
  /// the identifier. A sound that cannot be played completes at once too; `DeviceReport::lastRefusal` has the reason,
  /// with the call "SystemSoundService::play".
  ///
  /// `completion` runs on the service's own thread, one at a time; for sounds that are playing when the host is
  /// destroyed, on the thread that destroys it. It must not throw or wait.
  virtual void play(std::uint32_t identifier, const SystemSoundOptions& options, std::function<void()> completion) = 0;
  /// Waits until no sound is playing, but at most for `limit` of host time (`Waiter::forever` waits without a limit).
  /// Returns false if the limit elapses first. Must not be called in a worker's task.
  virtual bool waitUntilSilent(HostTime limit) = 0;
  /// Subscribes a notice that is called, on a worker, each time the last sound that was playing or waiting has
  /// completed.
  virtual Subscription onSilent(std::function<void()> notice) = 0;
  /// Returns the sounds, in order of their identifiers.
  virtual std::vector<SystemSound> sounds() const = 0;
};

}  // namespace orvane::platform
