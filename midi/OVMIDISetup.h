// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"
#include "platform/Platform.h"

/// Prints the MIDI setup on standard output: devices with their entities and endpoints, all sources and destinations,
/// and external devices; on request also the property dictionary of each object. Can also watch for changes.
///
/// An object gets a line with its kind, name, unique identifier and handle. Names are printed unchanged, but cut to at
/// most 63 bytes, keys and texts in dictionaries to 511, in each case to whole characters. What cannot be read is left
/// out. Standard output is flushed after the inventory and after each notification.
///
/// Not thread-safe: one object must be used by one thread at a time. Not real-time safe.
class ORVANE_EXPORT OVMIDISetup {
 public:
  /// Creates an object that reports the setup of the host in use.
  static std::shared_ptr<OVMIDISetup> init();

  OVMIDISetup(const OVMIDISetup&) = delete;
  OVMIDISetup& operator=(const OVMIDISetup&) = delete;
  ~OVMIDISetup();

  /// Returns whether `print` prints property dictionaries; false by default.
  bool showProperties() const { return _showProperties; }
  void setShowProperties(bool showProperties) { _showProperties = showProperties; }

  /// Prints the inventory. Raises "MidiService is not available on this host" if the host has no MIDI.
  void print();
  /// Prints the inventory with property dictionaries, and then, until the host's event loop is stopped, a report of
  /// each notification. Runs the event loop (`platform::EventLoop::run`) on the calling thread, and returns when that
  /// does. If the host refuses a client for notifications, none is printed. Raises "MidiService is not available on
  /// this host" or "EventLoop is not available on this host".
  void watchProperties();

 private:
  OVMIDISetup();

  bool _showProperties = false;
  const orvane::platform::Platform _services;
};
