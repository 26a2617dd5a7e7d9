// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/backend/AudioDevice.h"
#include "platform/backend/MidiTransport.h"

namespace orvane::backend {

/// The parts of a back end, all on one clock. Either may be absent: the host then has no such device.
struct Backend {
  std::string hostName;  ///< "simulated", "pipewire".
  std::unique_ptr<AudioDevice> audio;
  std::unique_ptr<MidiTransport> midi;
};

}  // namespace orvane::backend
