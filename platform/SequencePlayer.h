// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "platform/Export.h"
#include "platform/MidiService.h"
#include "platform/Status.h"

namespace orvane::platform {

/// Identifies a sequence: the tracks and events of a file. `none` (0) is no sequence.
enum class MidiSequence : std::uint32_t { none = 0 };
/// Identifies a player of sequences; `none` (0) is no player.
enum class MidiPlayer : std::uint32_t { none = 0 };

/// The service that plays standard MIDI files.
///
/// A program creates a sequence, loads a file into it, creates a player, attaches the sequence to the player, routes
/// the sequence to a destination and starts the player. The events are sent at their times on a thread of the host.
///
/// Thread-safe; not real-time safe. Operations return `badParameter` for an unknown handle, or a status that a scenario
/// injects. Failures are logged, and `DeviceReport::lastRefusal` returns the last of them.
class ORVANE_EXPORT SequencePlayer {
 public:
  virtual ~SequencePlayer() = default;

  /// Creates an empty sequence and sets `sequence` to its handle.
  virtual Status newSequence(MidiSequence& sequence) = 0;
  /// Replaces the content of a sequence by that of a standard MIDI file of format 0, 1 or 2 (the tracks of format 2 are
  /// played one after the other). Meta events are not sent; the tempo is that of the file, with tempo events from all
  /// tracks. Takes effect at the next `setSequence`.
  ///
  /// A last track with a wrong length, missing tracks, a missing end of track and an incomplete last event are
  /// accepted. Returns `notFound`, `noPermission`, `notRegularFile`, `ioFailure`, or `invalidFile` for other damage, a
  /// file of more than 32 MiB, more than 4,000,000 events or more than 100,000,000 seconds; the sequence is then
  /// unchanged.
  virtual Status loadFile(MidiSequence sequence, const std::string& path) = 0;
  /// Creates a player and sets `player` to its handle.
  virtual Status newPlayer(MidiPlayer& player) = 0;
  /// Attaches a sequence to a player and sets the player to its beginning. Returns `wrongState` while it is playing.
  virtual Status setSequence(MidiPlayer player, MidiSequence sequence) = 0;
  /// Sets the destination of all tracks of a sequence. Takes effect at the next `start`. Returns `badParameter` if
  /// `destination` is not a destination in the inventory.
  virtual Status setDestination(MidiSequence sequence, MidiObjectRef destination) = 0;
  /// Starts the player where it was stopped, at first at the beginning; succeeds without effect while it is playing.
  /// Returns `wrongState` if the player has no sequence or the sequence no destination, `serverLost`, or `ioFailure` if
  /// no thread can be started. With a sound server, blocks until the link to the destination carries messages (about
  /// 50 ms, two seconds at most), and may return `stalled` or `deviceLost`; the playback begins 60 ms later.
  virtual Status start(MidiPlayer player) = 0;
  /// Stops the player: no event is sent after `stop` has returned. Succeeds without effect if it is not playing. Notes
  /// that sound are not ended.
  virtual Status stop(MidiPlayer player) = 0;
  /// Returns whether the player was started and neither stopped nor reached the end of its sequence.
  virtual bool isPlaying(MidiPlayer player) const = 0;
  /// Stops and destroys a player.
  virtual Status disposePlayer(MidiPlayer player) = 0;
  /// Destroys a sequence. Players to which it is attached keep its content.
  virtual Status disposeSequence(MidiSequence sequence) = 0;
};

}  // namespace orvane::platform
