// SPDX-License-Identifier: MIT
#include "iounit/dsp/LockstepMeter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Pexutil/Source/Utility/PXVectorUnit.h"
#include "iounit/dsp/MeterLanes.h"

namespace orvane {

namespace {

/// The maximum number of channels in a group. Planes (the channels' sample arrays) are often whole memory pages apart.
/// Their cache lines then compete for the same set, and an eight-way cache can hold one line of each of eight planes.
constexpr std::size_t maxTogether = 8;

/// The state of a group of channels. Each channel has four lanes, the vector elements that process every fourth sample;
/// a smaller group uses the first elements of each array. The result members are not initialised, because they are
/// written before they are read.
struct Group {  // NOLINT(cppcoreguidelines-pro-type-member-init)
  std::array<const float*, maxTogether> samples = {};
  std::array<const float*, maxTogether> meanSquaresBefore = {};
  alignas(EightLanes) std::array<std::array<float, 4>, maxTogether> meanSquares;
  alignas(EightLanes) std::array<std::array<float, 4>, maxTogether> maxima;
};

/// Loads four floats, starting at index `at`, of each channel that a register holds: a 128-bit register holds one
/// channel, a 256-bit register two.
template <typename Lanes>
[[gnu::always_inline]] inline void load(Lanes& lanes, const float* const* channels, std::size_t at) {
  if constexpr (sizeof(Lanes) == sizeof(FourLanes)) {
    std::memcpy(&lanes, channels[0] + at, sizeof lanes);
  } else {
    FourLanes first;
    FourLanes second;
    std::memcpy(&first, channels[0] + at, sizeof first);
    std::memcpy(&second, channels[1] + at, sizeof second);
    lanes = __builtin_shufflevector(first, second, 0, 1, 2, 3, 4, 5, 6, 7);
  }
}

/// Processes `sampleCount` samples of each channel in `registerCount` registers; `sampleCount` must be a multiple of
/// four. All state stays in registers, so that the processor executes several independent steps at the same time.
template <typename Lanes, std::size_t registerCount>
[[gnu::always_inline]] inline void runRegisters(Group& group, std::size_t sampleCount) {
  // Registers of four lanes or of eight. NOLINTNEXTLINE(bugprone-sizeof-expression)
  constexpr std::size_t channelsPerRegister = sizeof(Lanes) / sizeof(FourLanes);
  Lanes meanSquares[registerCount];
  Lanes maxima[registerCount] = {};
#pragma GCC unroll 8
  for (std::size_t i = 0; i < registerCount; ++i)
    load(meanSquares[i], &group.meanSquaresBefore[i * channelsPerRegister], 0);
  for (std::size_t at = 0; at < sampleCount; at += 4) {
#pragma GCC unroll 8
    for (std::size_t i = 0; i < registerCount; ++i) {
      Lanes samples;
      load(samples, &group.samples[i * channelsPerRegister], at);
      meterLanes(samples, meanSquares[i], maxima[i]);
    }
  }
#pragma GCC unroll 8
  for (std::size_t i = 0; i < registerCount; ++i) {
    std::memcpy(&group.meanSquares[i * channelsPerRegister], &meanSquares[i], sizeof(Lanes));
    std::memcpy(&group.maxima[i * channelsPerRegister], &maxima[i], sizeof(Lanes));
  }
}

/// Calls `runRegisters` with the number of registers `registers`, from 1 to `maxRegisters`, which is known only at run
/// time.
template <typename Lanes, std::size_t maxRegisters>
[[gnu::always_inline]] inline void runGroup(Group& group, std::size_t registers, std::size_t sampleCount) {
  if constexpr (maxRegisters > 1) {
    if (registers < maxRegisters) return runGroup<Lanes, maxRegisters - 1>(group, registers, sampleCount);
  }
  runRegisters<Lanes, maxRegisters>(group, sampleCount);
}

void runGroupOf128Bits(Group& group, std::size_t channels, std::size_t sampleCount) {
  runGroup<FourLanes, maxTogether>(group, channels, sampleCount);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void runGroupOf256Bits(Group& group, std::size_t channels, std::size_t sampleCount) {
  runGroup<EightLanes, maxTogether / 2>(group, (channels + 1) / 2, sampleCount);
}
#endif

void runGroup(Group& group, std::size_t channels, std::size_t sampleCount, [[maybe_unused]] RegisterWidth width) {
#if defined(__x86_64__)
  if (width == RegisterWidth::bits256) {
    // If the number of channels is odd, the second half of the last register processes the first channel again.
    group.samples[channels % maxTogether] = group.samples[0];
    group.meanSquaresBefore[channels % maxTogether] = group.meanSquaresBefore[0];
    return runGroupOf256Bits(group, channels, sampleCount);
  }
#endif
  runGroupOf128Bits(group, channels, sampleCount);
}

bool mayGoTogether(std::span<const float* const> planes) {
  const auto isAligned = [](const float* samples) {
    return reinterpret_cast<std::uintptr_t>(samples) % alignof(FourLanes) == 0;
  };
  return planes.size() > 1 && gPXVectorUnitType.load(std::memory_order_relaxed) >= 1 &&
         std::ranges::all_of(planes, isAligned);
}

void processGroup(std::span<PowerMeter> meters, std::span<const float* const> planes, int frameCount,
                  RegisterWidth width) {
  Group group;
  for (std::size_t i = 0; i < meters.size(); ++i) {
    meters[i].ScaleDecayConstants(frameCount);
    group.samples[i] = planes[i];
    // The mean squares are read in place, because a load that spans two recent stores would stall until both have
    // retired.
    group.meanSquaresBefore[i] = meters[i].mLaneMeanSquare.data();
  }
  const auto grouped = static_cast<std::size_t>(frameCount) / 4 * 4;
  runGroup(group, meters.size(), grouped, width);
  for (std::size_t i = 0; i < meters.size(); ++i) {
    meters[i].FinishBlock(planes[i] + grouped, frameCount, group.meanSquares[i], group.maxima[i]);
  }
}

}  // namespace

void processTogether(std::span<PowerMeter> meters, std::span<const float* const> planes, int frameCount,
                     RegisterWidth width) {
  assert(meters.size() == planes.size() && frameCount >= 0);
  // The channels are divided into groups of nearly equal size: nine channels into five and four, because a single
  // channel would take as long as eight.
  for (std::size_t groups = (meters.size() + maxTogether - 1) / maxTogether; groups > 0; --groups) {
    const std::size_t count = meters.size() / groups;
    if (mayGoTogether(planes.first(count))) {
      processGroup(meters.first(count), planes.first(count), frameCount, width);
    } else {
      for (std::size_t i = 0; i < count; ++i) meters[i].Process(planes[i], 1, frameCount);
    }
    meters = meters.subspan(count);
    planes = planes.subspan(count);
  }
}

}  // namespace orvane
