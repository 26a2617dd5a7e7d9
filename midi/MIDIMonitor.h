// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>

#include "platform/MidiService.h"
#include "platform/Platform.h"

namespace orvane {

/// The client "OVMIDIMonitor" of the MIDI service with its input port. Prints every packet list that arrives, on the
/// service's delivery thread. `mState` may be changed on any thread; otherwise not thread-safe. Not real-time
/// safe.
class MIDIMonitor {
 public:
  /// Creates the client and the port. Raises "MidiService::createClient failed: STATUS" or
  /// "MidiService::createInputPort failed: STATUS".
  explicit MIDIMonitor(const platform::Platform& services);
  MIDIMonitor(const MIDIMonitor&) = delete;
  MIDIMonitor& operator=(const MIDIMonitor&) = delete;
  /// Disposes the port, after which nothing more is printed, and the client.
  ~MIDIMonitor();

  platform::MidiObjectRef mClient{};
  platform::MidiObjectRef mPort{};
  platform::MidiObjectRef mSource{};  ///< The source of the last start; `none` before it.

  /// Shared with the function that receives.
  struct State {
    std::atomic<bool> includesRealtime = true;  ///< Whether bytes from F8 to FF are printed.
    std::atomic<bool> isOpen = true;            ///< Whether the monitor exists.
  };
  const std::shared_ptr<State> mState = std::make_shared<State>();

 private:
  platform::MidiService& mService;
};

}  // namespace orvane
