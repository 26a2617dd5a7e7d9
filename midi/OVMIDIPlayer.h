// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/Export.h"

namespace orvane {
class MIDIPlayerImpl;
}

/// Plays a standard MIDI file to a destination that is chosen by name. Prints nothing.
///
/// The object does not tell when the file has been played to its end; `platform::MidiReport::onActivityEnd` does.
/// Failures are raised as `OVTException`. Not thread-safe: one object must be used by one thread at a time. Not
/// real-time safe.
class ORVANE_EXPORT OVMIDIPlayer {
 public:
  /// Creates a player on the host in use and loads the file at `path`, see `platform::SequencePlayer::loadFile`. Raises
  /// "SequencePlayer is not available on this host" or "SequencePlayer::CALL failed: STATUS", where CALL is
  /// `newSequence`, `loadFile`, `newPlayer` or `setSequence`; everything that was created is then disposed.
  static std::shared_ptr<OVMIDIPlayer> initWithFilePath(const std::string& path);

  OVMIDIPlayer(const OVMIDIPlayer&) = delete;
  OVMIDIPlayer& operator=(const OVMIDIPlayer&) = delete;
  ~OVMIDIPlayer();

  /// Returns the name of the destination; `std::nullopt` by default.
  const std::optional<std::string>& destinationMIDIEndpointName() const { return _destinationMIDIEndpointName; }
  /// Sets the name of the destination; takes effect at the next `start`.
  void setDestinationMIDIEndpointName(std::optional<std::string> name);

  /// Looks up the destination and starts to play, where the last `stop` stopped. Raises "No MIDI destination named
  /// 'NAME'" (NAME is "(null)" if no name was set), "SequencePlayer::setDestination failed: STATUS" or
  /// "SequencePlayer::start failed: STATUS".
  void start();
  /// Stops playing. Raises nothing, also if nothing is playing.
  void stop();

 private:
  explicit OVMIDIPlayer(const std::string& path);

  const std::unique_ptr<orvane::MIDIPlayerImpl> mImpl;
  std::optional<std::string> _destinationMIDIEndpointName;
};
