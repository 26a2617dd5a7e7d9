// SPDX-License-Identifier: MIT
#include "midi/MIDIPlayerImpl.h"

#include "midi/EndpointLookup.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace orvane {

using platform::Status;

MIDIPlayerImpl::MIDIPlayerImpl(const platform::Platform& services, const std::string& path)
    : mServices(services), mService(requiredRole(services, services.sequences, "SequencePlayer")) {
  try {
    platform::MidiSequence sequence{};
    check(mService.newSequence(sequence), "newSequence");
    mSequence = sequence;
    check(mService.loadFile(mSequence, path), "loadFile");
    platform::MidiPlayer player{};
    check(mService.newPlayer(player), "newPlayer");
    mPlayer = player;
    check(mService.setSequence(mPlayer, mSequence), "setSequence");
  } catch (...) {
    dispose();
    throw;
  }
}

MIDIPlayerImpl::~MIDIPlayerImpl() {
  dispose();
}

void MIDIPlayerImpl::dispose() {
  if (mPlayer != platform::MidiPlayer::none) mService.disposePlayer(mPlayer);
  if (mSequence != platform::MidiSequence::none) mService.disposeSequence(mSequence);
}

void MIDIPlayerImpl::check(Status status, const char* call) {
  if (status != platform::status::success) {
    raiseOn(mServices, std::string("SequencePlayer::") + call + " failed", status);
  }
}

void MIDIPlayerImpl::setMIDIEndpoint(const std::optional<std::string>& name) {
  check(mService.setDestination(mSequence, destinationWithName(mServices, name)), "setDestination");
}

void MIDIPlayerImpl::start() {
  check(mService.start(mPlayer), "start");
}

void MIDIPlayerImpl::stop() {
  mService.stop(mPlayer);
}

}  // namespace orvane
