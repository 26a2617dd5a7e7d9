// SPDX-License-Identifier: MIT
#include "midi/OVMIDIPlayer.h"

#include <utility>

#include "midi/MIDIPlayerImpl.h"
#include "platform/Platform.h"

std::shared_ptr<OVMIDIPlayer> OVMIDIPlayer::initWithFilePath(const std::string& path) {
  return std::shared_ptr<OVMIDIPlayer>(new OVMIDIPlayer(path));
}

OVMIDIPlayer::OVMIDIPlayer(const std::string& path)
    : mImpl(std::make_unique<orvane::MIDIPlayerImpl>(orvane::platform::current(), path)) {}

OVMIDIPlayer::~OVMIDIPlayer() = default;

void OVMIDIPlayer::setDestinationMIDIEndpointName(std::optional<std::string> name) {
  _destinationMIDIEndpointName = std::move(name);
}

void OVMIDIPlayer::start() {
  mImpl->setMIDIEndpoint(_destinationMIDIEndpointName);
  mImpl->start();
}

void OVMIDIPlayer::stop() {
  mImpl->stop();
}
