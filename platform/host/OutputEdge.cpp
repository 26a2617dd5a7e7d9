#include "platform/host/OutputEdge.h"

#include <array>

#include "platform/host/ChannelRule.h"

namespace orvane::host {

/// A buffer list with as many entries as a unit may have channels.
struct OutputEdge::ListStorage {
  explicit ListStorage(std::uint32_t count) : header(count) {}
  platform::RenderBufferList header;
  std::array<platform::RenderBuffer, DeviceFormat::mostChannels> entries{};
};

OutputEdge::OutputEdge(std::uint32_t clientChannels, std::uint32_t hardwareChannels)
    : mClient(clientChannels, DeviceFormat::mostSliceFrames),
      mMapped(clientChannels == hardwareChannels ? 0 : 1, DeviceFormat::mostSliceFrames),
      mList(std::make_unique<ListStorage>(clientChannels)) {}

OutputEdge::~OutputEdge() = default;

platform::RenderBufferList& OutputEdge::buffers(std::uint32_t frames) {
  for (std::uint32_t channel = 0; channel < mClient.channels(); ++channel) {
    mList->entries[channel] = {1, frames * static_cast<std::uint32_t>(sizeof(float)), mClient.plane(channel)};
  }
  return mList->header;
}

void OutputEdge::play(OutputMix& mix) {
  const AlignedSamples& client = mClient;
  for (std::uint32_t channel = 0; channel < mix.channels(); ++channel) {
    if (mMapped.channels() == 0) {
      mix.add(channel, client.plane(channel));
    } else {
      applyChannelRule(client.planes(), channel, mix.channels(), mMapped.plane(0), mix.frames());
      mix.add(channel, mMapped.plane(0));
    }
  }
}

}  // namespace orvane::host
