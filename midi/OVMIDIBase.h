// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Export.h"
#include "platform/MidiService.h"
#include "platform/PacketList.h"
#include "platform/Platform.h"

/// The base class of tools that send MIDI to one endpoint or receive it from one. It stores the protocol, finds
/// endpoints and prints packet lists.
///
/// An instance is not thread-safe; the static operations are thread-safe and keep no state. Not real-time safe.
class ORVANE_EXPORT OVMIDIBase {
 public:
  /// Creates an object with protocol 0.
  static std::shared_ptr<OVMIDIBase> init();

  OVMIDIBase(const OVMIDIBase&) = delete;
  OVMIDIBase& operator=(const OVMIDIBase&) = delete;
  virtual ~OVMIDIBase();

  /// Returns the protocol: 0 is the MIDI 1.0 byte stream (the default and the only one that the library can send), 1 is
  /// MIDI 1.0 in Universal MIDI Packets, 2 is MIDI 2.0.
  std::int64_t protocol() const { return _protocol; }
  /// Stores any number as the protocol. Numbers other than 0 only make `OVMIDISend::send` refuse to send.
  void setProtocol(std::int64_t protocol) { _protocol = protocol; }
  void set10() { setProtocol(0); }
  void set1UP() { setProtocol(1); }
  void set20() { setProtocol(2); }

  /// Prints a packet list on standard output with one write: for each packet "[TIME]:", where TIME is the time stamp as
  /// a signed decimal number, and " XX" for each data byte in hexadecimal; packets are separated by a space. A newline
  /// follows if at least one byte was printed. A list without packets prints nothing. If `includeRealtime` is false,
  /// bytes from F8 to FF are left out. Does not flush standard output.
  static void hexDumpPacketList(const orvane::platform::PacketList& list, bool includeRealtime);

  // The lookups ask the host in use, and raise "MidiService is not available on this host" if it has no MIDI.

  /// Returns the first source whose name is equal to `name`. Raises "No MIDI source named 'NAME'" if there is none;
  /// NAME is "(null)" for `std::nullopt`.
  static orvane::platform::MidiObjectRef sourceWithName(const std::optional<std::string>& name);
  /// Returns the first destination whose name is equal to `name`. Raises "No MIDI destination named 'NAME'" if there is
  /// none; NAME is "(null)" for `std::nullopt`.
  static orvane::platform::MidiObjectRef destinationWithName(const std::optional<std::string>& name);
  /// Returns the first source. Raises "No MIDI sources present" if there is none.
  static orvane::platform::MidiObjectRef defaultSource();
  /// Returns the first destination. Raises "No MIDI destinations present" if there is none.
  static orvane::platform::MidiObjectRef defaultDestination();

 protected:
  OVMIDIBase();

  /// Returns the services that were in use when this object was created. The object uses only these.
  const orvane::platform::Platform& services() const { return _services; }

 private:
  std::int64_t _protocol = 0;
  const orvane::platform::Platform _services;
};
