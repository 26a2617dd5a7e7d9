// SPDX-License-Identifier: MIT
#include "midi/MIDISender.h"

#include "platform/Status.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace orvane {

MIDISender::MIDISender(const platform::Platform& services)
    : mService(requiredRole(services, services.midi, "MidiService")) {
  if (const platform::Status status = mService.createClient("OVMIDISend", nullptr, mClient)) {
    raiseOn(services, "MidiService::createClient failed", status);
  }
  if (const platform::Status status = mService.createOutputPort(mClient, "Output port", mPort)) {
    mService.disposeClient(mClient);
    raiseOn(services, "MidiService::createOutputPort failed", status);
  }
}

MIDISender::~MIDISender() {
  mService.disposePort(mPort);
  mService.disposeClient(mClient);
}

}  // namespace orvane
