#pragma once

#include <memory>

#include "platform/Platform.h"
#include "platform/Scheduler.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/files/SoundFileWriter.h"

namespace orvane::host {

/// What a back end is given and brings: everything a host stands on.
struct Foundation {
  std::shared_ptr<platform::Log> log;
  std::shared_ptr<platform::Scheduler> scheduler;
  SoundFileWriter::Services files;  ///< What the device's own files are written with, and all others.
};

/// The usual log, a scheduler at real or fast pace, and empty records.
Foundation makeFoundation(bool fastPace);

/// Sets up the host's services on a device.
platform::Platform makeHost(const Foundation& foundation, std::unique_ptr<AudioDevice> device);

}  // namespace orvane::host
