// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "midi/OVMIDIBase.h"
#include "platform/Export.h"

namespace orvane {
class MIDISender;
}

/// Sends MIDI 1.0 messages, given as hexadecimal text, to a destination, and prints what it sends.
///
/// In the text two hexadecimal digits are a byte, and white space is ignored, also between the digits of a byte. A bar
/// ("|") ends a group of bytes; a single digit before a bar or the end of the text is a byte. Each group becomes one
/// packet. Its time stamp is the host time at the beginning of the call plus one nanosecond for each bar before it;
/// empty groups are skipped. The bytes are not checked.
///
/// Failures are raised as `OVTException`. Not thread-safe: one object must be used by one thread at a time. Not
/// real-time safe.
class ORVANE_EXPORT OVMIDISend : public OVMIDIBase {
 public:
  /// Creates an object, with the client "OVMIDISend" and its port "Output port" on the host in use. Raises "MidiService
  /// is not available on this host", "MidiService::createClient failed: STATUS" or "MidiService::createOutputPort
  /// failed: STATUS".
  static std::shared_ptr<OVMIDISend> init();
  ~OVMIDISend() override;

  /// Returns the name of the destination; `std::nullopt`, the default, means the first destination.
  const std::optional<std::string>& destinationEndpointName() const { return _destinationEndpointName; }
  /// Sets the name of the destination. The first `send` chooses the destination; later changes have no effect.
  void setDestinationEndpointName(std::optional<std::string> name);

  /// Prints the packet lists of a text, in the form of `hexDumpPacketList`, and sends each after printing it.
  ///
  /// Raises, in this order of checks,
  ///
  /// - "string is null in -[OVMIDISend send:]" if `text` is null;
  /// - "Not yet supporting protocols beyond MIDI 1.0" if `protocol()` is not 0;
  /// - the exceptions of `destinationWithName` or `defaultDestination`;
  /// - "Hex parse error in: TEXT" for a character that is not a hexadecimal digit, white space or a bar;
  /// - "A MIDI packet of N bytes is too long; a packet has at most 65535 bytes";
  /// - "MidiService::send failed: STATUS".
  ///
  /// The last three end the call. Lists that were already sent (a list is sent when the next group does not fit into
  /// its 1024 bytes) stay sent, later groups are dropped.
  void send(const char* text);
  /// Calls `send` with the text, up to its first zero byte; with null for `std::nullopt`.
  void transmit(const std::optional<std::string>& text);
  /// Prints a prompt, and then sends each line of standard input. Before the next line is read, the clock has reached
  /// the last time stamp of the line before it.
  ///
  /// At the end of the input, ends the process with status 0; a last line without a newline is not sent. After an
  /// exception of the library or the host, prints "Caught exception: NAME, REASON" on standard error and goes on with
  /// the next line; other exceptions propagate. After a read error, prints "IOError!" on standard error and ends the
  /// process with status 1. Must not be called inside a worker's task.
  [[noreturn]] void interact();

 private:
  OVMIDISend();

  void chooseDestination();
  void awaitLastTimeStamp();

  const std::unique_ptr<orvane::MIDISender> mImpl;
  std::optional<std::string> _destinationEndpointName;
  std::uint64_t _lastTimeStamp = 0;
};
