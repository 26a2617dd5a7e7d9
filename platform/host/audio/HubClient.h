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

/// One slice of captured sound as the hub hands it to its clients: 32-bit float planes, one a channel, 16-byte aligned.
struct HubSlice {
  platform::HostTime time{};     ///< When the first input frame was captured.
  std::uint64_t firstFrame = 0;  ///< Frames since the device's first start, missing ones included.
  std::uint32_t frames = 0;
  std::span<const float* const> inputs;
};

/// A participant in the device's slices: a unit, a queue, a graph, a sound.
class HubClient {
 public:
  virtual ~HubClient() = default;
  /// Takes the slice's input and adds output. Returns why the run cannot go on, in a text that is never freed; null
  /// otherwise. On the device callback; real-time safe.
  virtual const char* deviceSlice(const HubSlice& slice, OutputMix& mix) = 0;
  /// Whether the client needs the slice's input. Asked when clients come and go.
  virtual bool takesInput() const { return true; }
  /// The device runs in this format from the next slice on: makes what depends on another one anew. Called before the
  /// device starts and before the client is first called, with the format that it has already in most cases, and when
  /// the format changes; never while a slice is; on the caller's thread or the hub's worker. Returns why the client
  /// cannot go on, which ends the run or refuses the client; nothing otherwise.
  virtual std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& format) = 0;
};

}  // namespace orvane::host
