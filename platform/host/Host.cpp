// SPDX-License-Identifier: MIT
#include "platform/host/Host.h"

#include <utility>

#include "platform/host/HostJson.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/files/HostConvertingFiles.h"
#include "platform/host/files/HostFormatInfo.h"
#include "platform/host/files/HostSoundFiles.h"
#include "platform/host/graph/HostGraphs.h"
#include "platform/host/midi/HostMidi.h"
#include "platform/host/midi/HostMidiReport.h"
#include "platform/host/midi/HostSequencePlayer.h"
#include "platform/host/midi/MidiHub.h"
#include "platform/host/queues/HostQueues.h"
#include "platform/host/report/HostReports.h"
#include "platform/host/sounds/HostSystemSounds.h"
#include "platform/host/time/HostEventLoop.h"
#include "platform/host/units/HostUnits.h"

namespace orvane::host {

platform::Platform makeHost(const std::shared_ptr<HostContext>& context, backend::Backend backend) {
  const auto hub = std::make_shared<AudioHub>(context, std::move(backend.audio));
  const bool hasMidi = backend.midi != nullptr;
  const auto midi = std::make_shared<MidiHub>(context, std::move(backend.midi));
  platform::Platform platform;
  platform.log = context->log;
  platform.json = std::make_shared<HostJson>();
  platform.scheduler = context->scheduler;
  platform.eventLoop = std::make_shared<HostEventLoop>(context->scheduler);
  platform.sessions = context->sessions;
  const auto units = std::make_shared<HostUnits>(context, hub);
  platform.units = units;
  platform.convertingFiles = std::make_shared<HostConvertingFiles>(context, hub);
  platform.bufferQueues = std::make_shared<HostQueues>(context, hub);
  platform.soundFiles = std::make_shared<HostSoundFiles>(context);
  platform.formatInfo = std::make_shared<HostFormatInfo>(context);
  platform.systemSounds = std::make_shared<HostSystemSounds>(context, hub);
  platform.graphs = std::make_shared<HostGraphs>(context, hub, units);
  platform.deviceReport = std::make_shared<HostDeviceReport>(std::move(backend.hostName), context, hub);
  platform.runControl = std::make_shared<HostRunControl>(context, hub);
  platform.fileReport = std::make_shared<HostFileReport>(context);
  platform.midiReport = std::make_shared<HostMidiReport>(midi);
  if (hasMidi) {
    platform.midi = std::make_shared<HostMidi>(context, midi, platform.eventLoop);
    platform.sequences = std::make_shared<HostSequencePlayer>(context, midi);
  }
  return platform;
}

}  // namespace orvane::host
