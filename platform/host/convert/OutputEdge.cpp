// SPDX-License-Identifier: MIT
#include "platform/host/convert/OutputEdge.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "platform/RenderBufferList.h"
#include "platform/Status.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/convert/ChannelRule.h"

namespace orvane::host {

/// The memory of a buffer list with the maximum number of channels of a unit.
struct OutputEdge::ListStorage {
  explicit ListStorage(std::uint32_t count) : header(count) {}
  platform::RenderBufferList header;
  std::array<platform::RenderBuffer, backend::DeviceFormat::maxChannels> entries{};
};

OutputEdge::OutputEdge(EdgeFormat client, EdgeFormat hardware, std::uint64_t firstFrame)
    : mClient(client),
      mHardware(hardware),
      mFirstFrame(firstFrame),
      mProvided(client.channels, backend::DeviceFormat::maxSliceFrames),
      mConverted(client.sampleRate == hardware.sampleRate ? 0 : client.channels, backend::DeviceFormat::maxSliceFrames),
      mMapped(client.channels == hardware.channels ? 0 : 1, backend::DeviceFormat::maxSliceFrames),
      mList(std::make_unique<ListStorage>(client.channels)) {
  if (client.sampleRate != hardware.sampleRate) {
    mConverter.emplace(client.channels, client.sampleRate, hardware.sampleRate);
  }
}

OutputEdge::~OutputEdge() = default;

std::uint32_t OutputEdge::delayFrames() const {
  if (!mConverter) return 0;
  return static_cast<std::uint32_t>(std::ceil(mConverter->delayFrames() * mHardware.sampleRate / mClient.sampleRate));
}

void OutputEdge::play(const platform::OutputProvider& provider, const HubSlice& slice, OutputMix& mix) {
  const AlignedSamples& provided = mProvided;
  const AlignedSamples& converted = mConverted;
  mGaps.accept(slice);
  if (mConverter) {
    convert(provider, slice);
    mixIn(converted.planes(), mix);
  } else if (ask(provider, slice, slice.frames)) {
    mixIn(provided.planes(), mix);
  }
}

bool OutputEdge::ask(const platform::OutputProvider& provider, const HubSlice& slice, std::uint32_t frames) {
  constexpr std::int32_t outputBus = 0;
  for (std::uint32_t channel = 0; channel < mProvided.channels(); ++channel) {
    mList->entries[channel] = {1, frames * static_cast<std::uint32_t>(sizeof(float)), mProvided.plane(channel)};
  }
  platform::RenderActionFlags flags = 0;
  const platform::RenderTimeStamp time{.sampleTime = static_cast<double>(nextFrame()),
                                       .hostTime = static_cast<std::uint64_t>(slice.time.count())};
  mAsked += frames;
  return provider(flags, time, frames, outputBus, mList->header) == platform::status::success;
}

/// Returns the number of client frames to request for this slice: the frames that the slice spans plus the filter's
/// look-ahead. Requesting more would put the provider further and further ahead, because the converter accepts any
/// number of frames.
std::uint32_t OutputEdge::framesToAsk(const HubSlice& slice) const {
  const double spanned =
      std::ceil(static_cast<double>(mPlayed + slice.frames) * mClient.sampleRate / mHardware.sampleRate);
  const std::uint64_t wanted = static_cast<std::uint64_t>(spanned) + mConverter->delayFrames();
  return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(wanted - std::min(wanted, mAsked), 1, partFrames));
}

void OutputEdge::convert(const platform::OutputProvider& provider, const HubSlice& slice) {
  const AlignedSamples& provided = mProvided;
  std::uint32_t done = 0;
  while (done < slice.frames && !failed()) {
    if (mProvidedTaken == mProvidedFrames) {
      mProvidedFrames = framesToAsk(slice);
      mProvidedTaken = 0;
      if (!ask(provider, slice, mProvidedFrames)) {
        for (float* plane : mProvided.planes()) std::fill_n(plane, mProvidedFrames, 0.0F);
      }
    }
    const auto [taken, made] =
        mConverter->process({provided.planes(), mProvidedTaken, mProvidedFrames - mProvidedTaken},
                            {mConverted.planes(), done, slice.frames - done});
    mProvidedTaken += taken;
    done += made;
  }
  for (float* plane : mConverted.planes()) std::fill_n(plane + done, slice.frames - done, 0.0F);
  mPlayed += slice.frames;
}

void OutputEdge::mixIn(std::span<const float* const> planes, OutputMix& mix) {
  for (std::uint32_t channel = 0; channel < mix.channels(); ++channel) {
    if (mMapped.channels() == 0) {
      mix.add(channel, planes[channel]);
    } else {
      applyChannelRule(planes, channel, mix.channels(), mMapped.plane(0), mix.frames());
      mix.add(channel, mMapped.plane(0));
    }
  }
}

}  // namespace orvane::host
