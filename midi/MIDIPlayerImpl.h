// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "platform/Platform.h"
#include "platform/SequencePlayer.h"

namespace orvane {

/// A sequence with the content of a file, and the player to which it is attached. Failures are raised as
/// `OVTException`. Not thread-safe; not real-time safe.
class MIDIPlayerImpl {
 public:
  /// Loads the file. Raises "SequencePlayer::CALL failed: STATUS", where CALL is `newSequence`, `loadFile`, `newPlayer`
  /// or `setSequence`, after disposing what was made.
  MIDIPlayerImpl(const platform::Platform& services, const std::string& path);
  MIDIPlayerImpl(const MIDIPlayerImpl&) = delete;
  MIDIPlayerImpl& operator=(const MIDIPlayerImpl&) = delete;
  /// Disposes the player and the sequence.
  ~MIDIPlayerImpl();

  /// Routes the sequence to a destination. Raises the exceptions of `OVMIDIBase::destinationWithName`, and
  /// "SequencePlayer::setDestination failed: STATUS".
  void setMIDIEndpoint(const std::optional<std::string>& name);
  /// Starts the player. Raises "SequencePlayer::start failed: STATUS".
  void start();
  /// Stops the player and ignores the status.
  void stop();

 private:
  void check(platform::Status status, const char* call);
  void dispose();

  const platform::Platform mServices;
  platform::SequencePlayer& mService;
  platform::MidiSequence mSequence{};
  platform::MidiPlayer mPlayer{};
};

}  // namespace orvane
