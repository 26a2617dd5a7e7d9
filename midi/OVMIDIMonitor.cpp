// SPDX-License-Identifier: MIT
#include "midi/OVMIDIMonitor.h"

#include <utility>

#include "midi/EndpointLookup.h"
#include "midi/MIDIMonitor.h"
#include "platform/Status.h"
#include "session/RaiseOn.h"

namespace platform = orvane::platform;

std::shared_ptr<OVMIDIMonitor> OVMIDIMonitor::init() {
  return std::shared_ptr<OVMIDIMonitor>(new OVMIDIMonitor);
}

OVMIDIMonitor::OVMIDIMonitor() : mImpl(std::make_unique<orvane::MIDIMonitor>(services())) {}

OVMIDIMonitor::~OVMIDIMonitor() = default;

void OVMIDIMonitor::setSourceEndpointName(std::optional<std::string> name) {
  _sourceEndpointName = std::move(name);
}

bool OVMIDIMonitor::includeRealtime() const {
  return mImpl->mState->includesRealtime;
}

void OVMIDIMonitor::setIncludeRealtime(bool includeRealtime) {
  mImpl->mState->includesRealtime = includeRealtime;
}

void OVMIDIMonitor::start() {
  mImpl->mSource =
      _sourceEndpointName ? orvane::sourceWithName(services(), _sourceEndpointName) : orvane::defaultSource(services());
  if (const platform::Status status = services().midi->connectSource(mImpl->mPort, mImpl->mSource, nullptr)) {
    orvane::raiseOn(services(), "MidiService::connectSource failed", status);
  }
}

void OVMIDIMonitor::stop() {
  if (const platform::Status status = services().midi->disconnectSource(mImpl->mPort, mImpl->mSource)) {
    orvane::raiseOn(services(), "MidiService::disconnectSource failed", status);
  }
}
