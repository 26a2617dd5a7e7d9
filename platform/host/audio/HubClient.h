// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/Clock.h"
#include "platform/PlatformError.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/audio/OutputMix.h"

namespace orvane::host {

/// The captured audio of one slice (block of one device callback): one plane (array) of 32-bit float samples per
/// channel, aligned to 16 bytes. Valid during the call.
struct HubSlice {
  platform::HostTime time{};     ///< Capture time of the first input frame.
  std::uint64_t firstFrame = 0;  ///< Frames since the device's first start, missing frames included.
  std::uint32_t frames = 0;
  std::span<const float* const> inputs;
};

/// A client of the audio hub, such as an I/O unit. The hub calls it for each slice of the device.
class HubClient {
 public:
  virtual ~HubClient() = default;
  /// Reads the slice's input and adds the client's output to `mix`. Called on the device callback, so it must be
  /// real-time safe. Returns null, or a text with static lifetime that states why the run cannot continue.
  virtual const char* deviceSlice(const HubSlice& slice, OutputMix& mix) = 0;
  /// Returns whether the client uses the input. Called whenever the list of clients changes.
  virtual bool takesInput() const { return true; }
  /// Returns whether the client adds output. Called whenever the list of clients changes.
  virtual bool givesOutput() const { return true; }
  /// Returns whether a failed run stays failed as long as the client is registered. False for a client that stays
  /// registered for the life of the host: it takes part in the next run. Called on a thread that controls the hub.
  virtual bool holdsRun() const { return true; }
  /// Tells a registered client that the device is going to be started for a new run. Called before `deviceChanged`, and
  /// again if the start has failed, on a thread that controls the hub; the device is not running.
  virtual void newRun() {}
  /// Returns the session that the client is bound to, or `std::nullopt`. Called before each start of the device.
  virtual std::optional<backend::SessionLabels> session() const { return std::nullopt; }
  /// Prepares the client for `format`, which is the device's format from the next slice on. Called before each start of
  /// the device, before the client's first slice, and when the format changes; often the format is the one that the
  /// client already has. Called on the thread that controls the hub or on the hub's worker, never during a slice.
  /// Returns `std::nullopt` on success. A returned failure ends the run or, if the client is being added, refuses the
  /// client.
  virtual std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& format) = 0;
};

}  // namespace orvane::host
