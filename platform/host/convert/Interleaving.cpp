// SPDX-License-Identifier: MIT
#include "platform/host/convert/Interleaving.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace orvane::host {

namespace {

/// Vectors of four 32-bit lanes. GCC and Clang support them on every processor.
using Lanes [[gnu::vector_size(16)]] = float;
using LaneBits [[gnu::vector_size(16)]] = std::int32_t;
using UnsignedLaneBits [[gnu::vector_size(16)]] = std::uint32_t;
using NarrowLanes [[gnu::vector_size(8)]] = std::int16_t;
constexpr std::uint32_t laneCount = 4;

constexpr float fullScale = 32768.0F;
/// 1.5 x 2^23. The last bit of a float of this size has the value 1, so adding this number to a sample rounds the
/// sample to an integer, which is then in the low bits of the sum.
constexpr float rounding = 12582912.0F;
constexpr std::int32_t magnitudeBits = 0x7FFFFFFF;
/// The bits of infinity. Magnitude bits above these represent not-a-number.
constexpr std::int32_t infinityBits = 0x7F800000;

Lanes lanesAt(const float* samples) {
  Lanes lanes;
  std::memcpy(&lanes, samples, sizeof lanes);
  return lanes;
}

void store(Lanes lanes, float* samples) {
  std::memcpy(samples, &lanes, sizeof lanes);
}

/// Converts each sample to 16 bits in the low half of its lane. The high half of the lane is unspecified.
LaneBits encode(Lanes samples) {
  const auto bits = std::bit_cast<LaneBits>(samples * fullScale);
  const Lanes number = std::bit_cast<Lanes>(bits & ((bits & magnitudeBits) <= infinityBits));
  const Lanes min = Lanes{} - fullScale;
  const Lanes max = Lanes{} + (fullScale - 1);
  const Lanes raised = number > min ? number : min;
  const Lanes held = raised < max ? raised : max;
  return std::bit_cast<LaneBits>(held + rounding);
}

void encode(const float* samples, std::uint32_t count, std::int16_t* encoded) {
  const auto encodeLanes = [](Lanes lanes) { return __builtin_convertvector(encode(lanes), NarrowLanes); };
  std::uint32_t index = 0;
  for (; index + laneCount <= count; index += laneCount) {
    const NarrowLanes four = encodeLanes(lanesAt(samples + index));
    std::memcpy(encoded + index, &four, sizeof four);
  }
  for (; index < count; ++index) encoded[index] = encodeLanes(Lanes{samples[index]})[0];
}

template <typename Sample>
void scatter(const Sample* plane, std::uint32_t frames, Sample* samples, std::size_t stride) {
  for (std::uint32_t frame = 0; frame < frames; ++frame) samples[frame * stride] = plane[frame];
}

/// Converts any number of channels, in blocks that fit in the L1 cache.
void encodeChannels(std::span<const float* const> planes, std::uint32_t frames, std::int16_t* samples) {
  constexpr std::uint32_t blockFrames = 1024;
  std::int16_t encoded[blockFrames];
  const std::size_t channels = planes.size();
  for (std::uint32_t first = 0; first < frames; first += blockFrames) {
    const std::uint32_t count = std::min(blockFrames, frames - first);
    for (std::size_t channel = 0; channel < channels; ++channel) {
      encode(planes[channel] + first, count, encoded);
      scatter(encoded, count, samples + first * channels + channel, channels);
    }
  }
}

/// Converts two channels, the most frequent case, with one frame per lane. Returns the number of frames converted, a
/// multiple of four.
std::uint32_t encodePairs(const float* left, const float* right, std::uint32_t frames, std::int16_t* samples) {
  std::uint32_t frame = 0;
  for (; frame + laneCount <= frames; frame += laneCount) {
    const auto first = std::bit_cast<UnsignedLaneBits>(encode(lanesAt(left + frame)));
    const auto second = std::bit_cast<UnsignedLaneBits>(encode(lanesAt(right + frame)));
    const UnsignedLaneBits pairs = (first & 0xFFFF) | (second << 16);
    std::memcpy(samples + std::size_t{2} * frame, &pairs, sizeof pairs);
  }
  return frame;
}

/// Deinterleaves two channels, four frames per step. Returns the number of frames processed, a multiple of four.
std::uint32_t separatePairs(const float* samples, std::uint32_t frames, float* left, float* right) {
  const std::uint32_t whole = frames / laneCount * laneCount;
  for (std::size_t frame = 0; frame < whole; frame += laneCount) {
    const Lanes first = lanesAt(samples + 2 * frame);
    const Lanes second = lanesAt(samples + 2 * frame + laneCount);
    const Lanes lefts = __builtin_shufflevector(first, second, 0, 2, 4, 6);
    const Lanes rights = __builtin_shufflevector(first, second, 1, 3, 5, 7);
    store(lefts, left + frame);
    store(rights, right + frame);
  }
  return whole;
}

/// Transposes four frames of four channels: lane c of row f becomes lane f of column c.
std::array<Lanes, laneCount> transpose(const std::array<Lanes, laneCount>& rows) {
  const Lanes low01 = __builtin_shufflevector(rows[0], rows[1], 0, 4, 1, 5);
  const Lanes low23 = __builtin_shufflevector(rows[2], rows[3], 0, 4, 1, 5);
  const Lanes high01 = __builtin_shufflevector(rows[0], rows[1], 2, 6, 3, 7);
  const Lanes high23 = __builtin_shufflevector(rows[2], rows[3], 2, 6, 3, 7);
  return {__builtin_shufflevector(low01, low23, 0, 1, 4, 5), __builtin_shufflevector(low01, low23, 2, 3, 6, 7),
          __builtin_shufflevector(high01, high23, 0, 1, 4, 5), __builtin_shufflevector(high01, high23, 2, 3, 6, 7)};
}

/// Deinterleaves `width` adjacent channels (3 or 4) of frames that have `channels` samples each. `frames` must be a
/// multiple of four. Inner loops are avoided, because GCC does not unroll them at -O2 and would then keep rows and
/// columns in memory.
template <std::uint32_t width>
void separateGroup(const float* samples, std::size_t channels, float* const* planes, std::uint32_t first,
                   std::uint32_t frames) {
  for (std::size_t frame = 0; frame < frames; frame += laneCount) {
    const float* const source = samples + frame * channels;
    const std::array<Lanes, laneCount> columns = transpose(
        {lanesAt(source), lanesAt(source + channels), lanesAt(source + 2 * channels), lanesAt(source + 3 * channels)});
    store(columns[0], planes[0] + first + frame);
    store(columns[1], planes[1] + first + frame);
    store(columns[2], planes[2] + first + frame);
    if constexpr (width == laneCount) store(columns[3], planes[3] + first + frame);
  }
}

/// Deinterleaves three or more channels, four channels at a time, in blocks of frames that fit in the L1 cache. Returns
/// the number of frames processed.
std::uint32_t separateGroups(const float* samples, std::span<float* const> planes, std::uint32_t first,
                             std::uint32_t frames) {
  const std::size_t channels = planes.size();
  // With three channels, the fourth lane reads the first sample of the next frame, so the last frame cannot be read
  // this way.
  const std::uint32_t readable = channels < laneCount && frames > 0 ? frames - 1 : frames;
  const std::uint32_t whole = readable / laneCount * laneCount;
  if (channels < laneCount) {
    separateGroup<laneCount - 1>(samples, channels, planes.data(), first, whole);
    return whole;
  }
  constexpr std::uint32_t blockFrames = 64;
  for (std::uint32_t block = 0; block < whole; block += blockFrames) {
    const std::uint32_t count = std::min(blockFrames, whole - block);
    for (std::size_t group = 0; group < channels; group += laneCount) {
      // If the number of channels is not a multiple of four, the last group overlaps the previous one.
      const std::size_t channel = std::min(group, channels - laneCount);
      separateGroup<laneCount>(samples + block * channels + channel, channels, planes.data() + channel, first + block,
                               count);
    }
  }
  return whole;
}

}  // namespace

void interleave(std::span<const float* const> planes, std::uint32_t first, std::uint32_t frames, float* samples) {
  for (std::size_t channel = 0; channel < planes.size(); ++channel) {
    scatter(planes[channel] + first, frames, samples + channel, planes.size());
  }
}

void deinterleave(const float* samples, std::span<float* const> planes, std::uint32_t first, std::uint32_t frames) {
  const std::size_t channels = planes.size();
  std::uint32_t done = 0;
  if (channels == 2) done = separatePairs(samples, frames, planes[0] + first, planes[1] + first);
  if (channels > 2) done = separateGroups(samples, planes, first, frames);
  for (std::size_t channel = 0; channel < channels; ++channel) {
    float* const plane = planes[channel] + first;
    for (std::uint32_t frame = done; frame < frames; ++frame) plane[frame] = samples[frame * channels + channel];
  }
}

void interleaveAs16Bit(std::span<const float* const> planes, std::uint32_t frames, std::int16_t* samples) {
  constexpr bool lowHalfFirst = std::endian::native == std::endian::little;
  if (planes.size() == 1) return encode(planes[0], frames, samples);
  if (planes.size() != 2 || !lowHalfFirst) return encodeChannels(planes, frames, samples);
  const std::uint32_t done = encodePairs(planes[0], planes[1], frames, samples);
  const std::array<const float*, 2> rest{planes[0] + done, planes[1] + done};
  encodeChannels(rest, frames - done, samples + std::size_t{2} * done);
}

}  // namespace orvane::host
