#include "platform/host/InputEdge.h"

#include <algorithm>

#include "platform/host/ChannelRule.h"

namespace orvane::host {

InputEdge::InputEdge(std::uint32_t hardwareChannels, std::uint32_t clientChannels)
    : mAsIs(hardwareChannels == clientChannels),
      mMapped(mAsIs ? 0 : clientChannels, DeviceFormat::mostSliceFrames),
      mPlanes(clientChannels) {}

void InputEdge::accept(const DeviceSlice& slice) {
  mFrames = slice.frames;
  if (mAsIs) {
    std::ranges::copy(slice.inputs, mPlanes.begin());
    return;
  }
  for (std::uint32_t channel = 0; channel < mMapped.channels(); ++channel) {
    applyChannelRule(slice.inputs, channel, mMapped.channels(), mMapped.plane(channel), slice.frames);
    mPlanes[channel] = mMapped.plane(channel);
  }
}

}  // namespace orvane::host
