// SPDX-License-Identifier: MIT
#include "midi/MIDIMonitor.h"

#include "midi/OVMIDIBase.h"
#include "platform/Status.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace orvane {

MIDIMonitor::MIDIMonitor(const platform::Platform& services)
    : mService(requiredRole(services, services.midi, "MidiService")) {
  if (const platform::Status status = mService.createClient("OVMIDIMonitor", nullptr, mClient)) {
    raiseOn(services, "MidiService::createClient failed", status);
  }
  const auto receive = [state = mState](const platform::PacketList& list, void*) {
    if (state->isOpen) OVMIDIBase::hexDumpPacketList(list, state->includesRealtime);
  };
  if (const platform::Status status = mService.createInputPort(mClient, "Input port", receive, mPort)) {
    mService.disposeClient(mClient);
    raiseOn(services, "MidiService::createInputPort failed", status);
  }
}

MIDIMonitor::~MIDIMonitor() {
  // The service may refuse to dispose the port, which then goes on receiving.
  mState->isOpen = false;
  mService.disposePort(mPort);
  mService.disposeClient(mClient);
}

}  // namespace orvane
