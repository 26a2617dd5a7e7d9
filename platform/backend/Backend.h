// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/backend/AudioDevice.h"
#include "platform/backend/MidiTransport.h"

namespace orvane::backend {

/// A back end: an audio device, a MIDI transport, or both on one clock. A null pointer means that the host has no such
/// device.
struct Backend {
  std::string hostName;  ///< "simulated" or "pipewire".
  std::unique_ptr<AudioDevice> audio;
  std::unique_ptr<MidiTransport> midi;
};

}  // namespace orvane::backend
