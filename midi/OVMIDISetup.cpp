// SPDX-License-Identifier: MIT
#include "midi/OVMIDISetup.h"

#include "midi/SetupReport.h"
#include "platform/EventLoop.h"
#include "platform/MidiService.h"
#include "session/RequiredRole.h"

namespace platform = orvane::platform;
using orvane::requiredRole;

std::shared_ptr<OVMIDISetup> OVMIDISetup::init() {
  return std::shared_ptr<OVMIDISetup>(new OVMIDISetup);
}

OVMIDISetup::OVMIDISetup() : _services(platform::current()) {}

OVMIDISetup::~OVMIDISetup() = default;

void OVMIDISetup::print() {
  orvane::SetupOutput output(requiredRole(_services, _services.midi, "MidiService"));
  orvane::PrintSetup(output, _showProperties);
}

void OVMIDISetup::watchProperties() {
  platform::MidiService& service = requiredRole(_services, _services.midi, "MidiService");
  platform::EventLoop& loop = requiredRole(_services, _services.eventLoop, "EventLoop");
  {
    orvane::SetupOutput output(service);
    orvane::PrintSetup(output, true);
  }
  platform::MidiObjectRef client{};
  service.createClient(
      "midinotif",
      [&service](const platform::MidiNotification& notification) {
        orvane::SetupOutput output(service);
        orvane::NotifyProc(output, notification);
      },
      client);
  {
    orvane::SetupOutput output(service);
    output.text += "\nWatching for notifications...\n";
  }
  loop.run();
}
