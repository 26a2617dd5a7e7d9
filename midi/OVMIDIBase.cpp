// SPDX-License-Identifier: MIT
#include "midi/OVMIDIBase.h"

#include <cstdio>
#include <string_view>

#include "midi/EndpointLookup.h"
#include "midi/HexDump.h"

namespace platform = orvane::platform;
using platform::MidiObjectRef;

std::shared_ptr<OVMIDIBase> OVMIDIBase::init() {
  return std::shared_ptr<OVMIDIBase>(new OVMIDIBase);
}

OVMIDIBase::OVMIDIBase() : _services(platform::current()) {}

OVMIDIBase::~OVMIDIBase() = default;

void OVMIDIBase::hexDumpPacketList(const platform::PacketList& list, bool includeRealtime) {
  const std::string_view text = orvane::hexDump(list, includeRealtime);
  if (!text.empty()) std::fwrite(text.data(), 1, text.size(), stdout);
}

MidiObjectRef OVMIDIBase::sourceWithName(const std::optional<std::string>& name) {
  return orvane::sourceWithName(platform::current(), name);
}

MidiObjectRef OVMIDIBase::destinationWithName(const std::optional<std::string>& name) {
  return orvane::destinationWithName(platform::current(), name);
}

MidiObjectRef OVMIDIBase::defaultSource() {
  return orvane::defaultSource(platform::current());
}

MidiObjectRef OVMIDIBase::defaultDestination() {
  return orvane::defaultDestination(platform::current());
}
