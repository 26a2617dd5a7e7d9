// SPDX-License-Identifier: MIT
#pragma once

#include "platform/MidiService.h"
#include "platform/Platform.h"

namespace orvane {

/// The client "OVMIDISend" of the MIDI service with its output port, and the destination that was chosen. Not
/// thread-safe; not real-time safe.
class MIDISender {
 public:
  /// Creates the client and the port. Raises "MidiService::createClient failed: STATUS" or
  /// "MidiService::createOutputPort failed: STATUS".
  explicit MIDISender(const platform::Platform& services);
  MIDISender(const MIDISender&) = delete;
  MIDISender& operator=(const MIDISender&) = delete;
  /// Disposes the port and the client.
  ~MIDISender();

  platform::MidiObjectRef mClient{};
  platform::MidiObjectRef mPort{};
  platform::MidiObjectRef mDestination{};  ///< `none` until the first send.

 private:
  platform::MidiService& mService;
};

}  // namespace orvane
