// SPDX-License-Identifier: MIT
#include "platform/host/convert/InputEdge.h"

#include <algorithm>
#include <cmath>

#include "platform/backend/AudioDevice.h"
#include "platform/host/convert/ChannelRule.h"

namespace orvane::host {

InputEdge::InputEdge(EdgeFormat hardware, EdgeFormat client, std::uint64_t firstFrame)
    : mHardware(hardware),
      mClient(client),
      mFirstFrame(firstFrame),
      mSource(client.channels),
      mMapped(hardware.channels == client.channels ? 0 : client.channels, backend::DeviceFormat::maxSliceFrames),
      mConverted(hardware.sampleRate == client.sampleRate ? 0 : client.channels, partFrames),
      mStore(mConverted.channels()),
      mPlanes(client.channels) {
  if (hardware.sampleRate != client.sampleRate) {
    mConverter.emplace(client.channels, hardware.sampleRate, client.sampleRate);
  }
}

void InputEdge::accept(const HubSlice& slice) {
  map(slice);
  mGaps.accept(slice);
  mSourceFrames = slice.frames;
  mSourceTaken = 0;
  mAccepted += slice.frames;
  mFrames = 0;
}

void InputEdge::map(const HubSlice& slice) {
  if (mMapped.channels() == 0) {
    std::ranges::copy(slice.inputs, mSource.begin());
    return;
  }
  for (std::uint32_t channel = 0; channel < mMapped.channels(); ++channel) {
    applyChannelRule(slice.inputs, channel, mMapped.channels(), mMapped.plane(channel), slice.frames);
    mSource[channel] = mMapped.plane(channel);
  }
}

bool InputEdge::next() {
  if (mConverter) {
    const std::uint32_t made = convert(mConverted, 0, partFrames);
    handOut(mConverted, made);
    return made > 0;
  }
  if (mSourceTaken == mSourceFrames) return false;
  std::ranges::copy(mSource, mPlanes.begin());
  mFrames = mSourceTaken = mSourceFrames;
  mHandedOut += mFrames;
  return true;
}

bool InputEdge::fetch(std::uint32_t frames) {
  if (!mConverter) return frames <= mSourceFrames && (mFrames != 0 || next());
  if (frames > partFrames) return false;
  mStore.added(convert(mStore.samples(), mStore.frames(), mStore.roomBefore(frames)));
  mStore.fetch(frames, mConverted);
  handOut(mConverted, frames);
  return true;
}

void InputEdge::finish() {
  mFinishing = true;
  // From now on the converter gets silence as input, which pushes out the frames that it still holds.
  mSourceFrames = mSourceTaken = 0;
}

/// Returns the number of client frames that correspond to all accepted hardware frames, rounded up.
std::uint64_t InputEdge::framesDue() const {
  const long double exact = static_cast<long double>(mAccepted) * mClient.sampleRate / mHardware.sampleRate;
  constexpr long double rounding = 1e-6L;
  return static_cast<std::uint64_t>(std::ceil(exact - rounding));
}

/// Returns the number of client frames that are due but not yet delivered, limited to `maxFrames`.
std::uint32_t InputEdge::framesLeft(std::uint32_t maxFrames) const {
  const std::uint64_t left = framesDue() - std::min(framesDue(), mHandedOut);
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(left, maxFrames));
}

std::uint32_t InputEdge::convert(AlignedSamples& target, std::uint32_t firstFrame, std::uint32_t maxFrames) {
  const std::uint32_t made =
      mFinishing ? convertRest(target, firstFrame, framesLeft(maxFrames)) : convertSlice(target, firstFrame, maxFrames);
  if (!failed()) return made;
  mSourceTaken = mSourceFrames;
  const std::uint32_t wanted = std::max(made, framesLeft(maxFrames));
  for (float* plane : target.planes()) std::fill_n(plane + firstFrame + made, wanted - made, 0.0F);
  return wanted;
}

std::uint32_t InputEdge::convertSlice(AlignedSamples& target, std::uint32_t firstFrame, std::uint32_t maxFrames) {
  const auto [taken, made] = mConverter->process({mSource, mSourceTaken, mSourceFrames - mSourceTaken},
                                                 {target.planes(), firstFrame, maxFrames});
  mSourceTaken += taken;
  return made;
}

/// Passes silence to the converter to push out the frames that it still holds. Returns the number of frames written to
/// `target`.
std::uint32_t InputEdge::convertRest(AlignedSamples& target, std::uint32_t firstFrame, std::uint32_t wanted) {
  constexpr std::uint32_t silenceFrames = 64;
  static constexpr float silence[silenceFrames] = {};
  std::ranges::fill(mSource, silence);
  std::uint32_t made = 0;
  while (made < wanted && !failed()) {
    made += mConverter->process({mSource, 0, silenceFrames}, {target.planes(), firstFrame + made, wanted - made}).made;
  }
  return made;
}

void InputEdge::handOut(const AlignedSamples& samples, std::uint32_t frames) {
  std::ranges::copy(samples.planes(), mPlanes.begin());
  mFrames = frames;
  mHandedOut += frames;
}

}  // namespace orvane::host
