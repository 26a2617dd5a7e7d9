// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/Clock.h"
#include "platform/Failure.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/audio/OutputMix.h"

namespace orvane::host {

/// One slice of captured audio: 32-bit float planes, one a channel, 16-byte aligned. Valid during the call.
struct HubSlice {
  platform::HostTime time{};     ///< Capture time of the first input frame.
  std::uint64_t firstFrame = 0;  ///< Frames since the device's first start, missing frames included.
  std::uint32_t frames = 0;
  std::span<const float* const> inputs;
};

/// A client of the hub, such as a unit.
class HubClient {
 public:
  virtual ~HubClient() = default;
  /// Reads the slice's input and adds output. Called on the device callback; must be real-time safe. Returns null, or
  /// the reason why the run cannot continue, a text with static lifetime.
  virtual const char* deviceSlice(const HubSlice& slice, OutputMix& mix) = 0;
  /// Whether the client uses the input. Asked whenever the list of clients changes.
  virtual bool takesInput() const { return true; }
  /// Prepares the client for the device's format from the next slice on. Called before each start of the device, before
  /// the client's first slice, and when the format changes, often with the format that the client already has. Called
  /// on the caller's thread or the hub's worker, never during a slice. Returns nothing, or the reason why the client
  /// cannot continue, which ends the run or refuses the client.
  virtual std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& format) = 0;
};

}  // namespace orvane::host
