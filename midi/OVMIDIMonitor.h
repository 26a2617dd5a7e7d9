// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "midi/OVMIDIBase.h"
#include "platform/Export.h"

namespace orvane {
class MIDIMonitor;
}

/// Prints the packet lists that arrive from a MIDI source on standard output, in the form of
/// `OVMIDIBase::hexDumpPacketList`. They are printed on the MIDI service's delivery thread.
///
/// Failures are raised as `OVTException`. Not thread-safe: one object must be used by one thread at a time. Not
/// real-time safe.
class ORVANE_EXPORT OVMIDIMonitor : public OVMIDIBase {
 public:
  /// Creates a monitor, with the client "OVMIDIMonitor" and its port "Input port" on the host in use. Raises
  /// "MidiService is not available on this host", "MidiService::createClient failed: STATUS" or
  /// "MidiService::createInputPort failed: STATUS".
  static std::shared_ptr<OVMIDIMonitor> init();
  ~OVMIDIMonitor() override;

  /// Returns the name of the source to monitor; `std::nullopt`, the default, means the first source.
  const std::optional<std::string>& sourceEndpointName() const { return _sourceEndpointName; }
  /// Sets the name of the source; takes effect at the next `start`.
  void setSourceEndpointName(std::optional<std::string> name);

  /// Returns whether bytes from F8 to FF are printed; true by default.
  bool includeRealtime() const;
  /// Sets whether bytes from F8 to FF are printed, in the lists that arrive from now on.
  void setIncludeRealtime(bool includeRealtime);

  /// Chooses the source and connects to it. A source of an earlier start stays connected. Raises the exceptions of
  /// `sourceWithName` or `defaultSource`, and "MidiService::connectSource failed: STATUS".
  void start();
  /// Disconnects from the source of the last start; nothing of it is printed after that. Raises
  /// "MidiService::disconnectSource failed: STATUS", also if there was no start.
  void stop();

 private:
  OVMIDIMonitor();

  const std::unique_ptr<orvane::MIDIMonitor> mImpl;
  std::optional<std::string> _sourceEndpointName;
};
