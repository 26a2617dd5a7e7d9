// SPDX-License-Identifier: MIT
#include "platform/host/convert/BlockConverter.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/host/convert/ChannelRule.h"

namespace orvane::host {

struct BlockConverter::Library {
  Library(const EdgeFormat& from, const EdgeFormat& to) : inputs(to.channels), outputs(to.channels) {
    const soxr_io_spec_t planar = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    handle = soxr_create(from.sampleRate, to.sampleRate, to.channels, &error, &planar, &quality, &oneThread);
    if (handle == nullptr)
      throw std::runtime_error(std::string("the rate cannot be converted: ") + soxr_strerror(error));
  }
  ~Library() { soxr_delete(handle); }

  soxr_t handle = nullptr;
  std::vector<soxr_cbuf_t> inputs;
  std::vector<soxr_buf_t> outputs;
};

BlockConverter::BlockConverter(EdgeFormat from, EdgeFormat to) : mFrom(from), mTo(to), mMapped(to.channels) {
  if (from.sampleRate != to.sampleRate) mLibrary = std::make_unique<Library>(from, to);
}

BlockConverter::~BlockConverter() = default;

void BlockConverter::convert(std::span<const float* const> planes, std::size_t frames, PlanarFifo& output) {
  mTaken += frames;
  PlanarFifo& mapped = mLibrary ? mMapped : output;
  const std::span<float* const> room = mapped.room(frames);
  for (std::uint32_t channel = 0; channel < mTo.channels; ++channel) {
    applyChannelRule(planes, channel, mTo.channels, room[channel], static_cast<std::uint32_t>(frames));
  }
  mapped.commit(frames);
  if (!mLibrary) return;
  const auto made = static_cast<std::size_t>(std::ceil(static_cast<double>(frames) * ratio())) + 1;
  resample(mMapped.planes().data(), frames, output, made);
  mMapped.clear();
}

void BlockConverter::finish(PlanarFifo& output) {
  if (mLibrary) {
    const auto all = static_cast<std::uint64_t>(std::ceil(static_cast<double>(mTaken) * ratio() - 1e-6));
    std::uint64_t left = all - std::min(all, mMade);
    while (left > 0) {
      constexpr std::uint64_t maxFrames = 8192;
      const std::size_t made = resample(nullptr, 0, output, std::min(left, maxFrames));
      if (made == 0) break;
      left -= made;
    }
    // The filter's last frame may be missing by rounding.
    const std::span<float* const> room = output.room(left);
    for (float* plane : room) std::fill_n(plane, left, 0.0F);
    output.commit(left);
    soxr_clear(mLibrary->handle);
  }
  mTaken = mMade = 0;
}

/// Passes frames to soxr, or the end of the recording if `planes` is null, and appends what it makes. Returns the
/// number of frames made.
std::size_t BlockConverter::resample(const float* const* planes, std::size_t frames, PlanarFifo& output,
                                     std::size_t room) {
  std::size_t total = 0;
  std::size_t taken = 0;
  do {
    const std::span<float* const> target = output.room(room);
    for (std::uint32_t channel = 0; channel < mTo.channels; ++channel) {
      mLibrary->inputs[channel] = planes == nullptr ? nullptr : planes[channel] + taken;
      mLibrary->outputs[channel] = target[channel];
    }
    std::size_t used = 0;
    std::size_t made = 0;
    const soxr_error_t error = soxr_process(mLibrary->handle, planes == nullptr ? nullptr : mLibrary->inputs.data(),
                                            frames - taken, &used, mLibrary->outputs.data(), room, &made);
    if (error != nullptr) throw std::runtime_error(std::string("the rate conversion failed: ") + soxr_strerror(error));
    output.commit(made);
    taken += used;
    total += made;
    if (used == 0 && made == 0) break;
  } while (taken < frames);
  mMade += total;
  return total;
}

}  // namespace orvane::host
