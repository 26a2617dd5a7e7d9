#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/host/AlignedSamples.h"
#include "platform/host/AudioDevice.h"

namespace orvane::host {

/// Where captured sound leaves the hub for a client: turns the hardware's channels into the client's.
///
/// Made before the device starts; everything else is real-time safe.
class InputEdge {
 public:
  InputEdge(std::uint32_t hardwareChannels, std::uint32_t clientChannels);

  /// Takes a slice. What `planes` gives is valid until the next call and no longer than the slice.
  void accept(const DeviceSlice& slice);

  std::span<const float* const> planes() const { return mPlanes; }
  std::uint32_t frames() const { return mFrames; }

 private:
  bool mAsIs;  ///< Equal channel counts: the hardware's own planes are handed on.
  AlignedSamples mMapped;
  std::vector<const float*> mPlanes;
  std::uint32_t mFrames = 0;
};

}  // namespace orvane::host
