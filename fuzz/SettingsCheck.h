// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

#include "platform/PlatformException.h"
#include "platform/backend/AudioDevice.h"
#include "platform/simulated/device/DeviceSettings.h"
#include "platform/simulated/device/Microphone.h"

namespace orvane::fuzz {

/// Aborts the process if `promise`, a condition that the library guarantees, is false.
inline void require(bool promise) {
  if (!promise) std::abort();
}

/// Checks that all parsed settings are in range and record where they were given. If the microphone is not a file, also
/// checks that it can be created or is refused with an exception.
inline void checkSettings(const simulated::DeviceSettings& device) {
  using backend::DeviceFormat;
  const auto inRange = [](const auto& given, std::uint32_t min, std::uint32_t max) {
    require(!given || (given->value >= min && given->value <= max && !given->where.empty()));
  };
  inRange(device.rate, 0, simulated::DeviceSettings::maxRate);
  inRange(device.inputs, 0, DeviceFormat::maxChannels);
  inRange(device.outputs, 0, DeviceFormat::maxChannels);
  inRange(device.slice, 1, DeviceFormat::maxSliceFrames);
  require(!device.speaker || !device.speaker->value.empty());
  require(!device.microphone || !device.microphone->value.empty());
  if (!device.microphone || simulated::isMicrophoneFile(device.microphone->value)) return;
  try {
    require(simulated::makeMicrophone(*device.microphone) != nullptr);
  } catch (const platform::PlatformException& refusal) {
    require(refusal.reason().starts_with(device.microphone->where));
  }
}

}  // namespace orvane::fuzz
