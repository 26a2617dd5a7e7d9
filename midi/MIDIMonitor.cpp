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
  const auto receive = [this](const platform::PacketList& list, void*) {
    OVMIDIBase::hexDumpPacketList(list, mIncludeRealtime);
  };
  if (const platform::Status status = mService.createInputPort(mClient, "Input port", receive, mPort)) {
    mService.disposeClient(mClient);
    raiseOn(services, "MidiService::createInputPort failed", status);
  }
}

MIDIMonitor::~MIDIMonitor() {
  mService.disposePort(mPort);
  mService.disposeClient(mClient);
}

}  // namespace orvane
