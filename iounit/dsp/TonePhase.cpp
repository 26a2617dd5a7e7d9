// SPDX-License-Identifier: MIT
#include "iounit/dsp/TonePhase.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "iounit/dsp/Sine.h"

namespace orvane {

namespace {

using Ints4 [[gnu::vector_size(16)]] = std::int32_t;
using Ints8 [[gnu::vector_size(32)]] = std::int32_t;
using Floats4 [[gnu::vector_size(16)]] = float;
using Floats8 [[gnu::vector_size(32)]] = float;

template <typename Ints>
constexpr Ints lanePlaces = {0, 1, 2, 3};
template <>
constexpr Ints8 lanePlaces<Ints8> = {0, 1, 2, 3, 4, 5, 6, 7};

// Convert integers to floats. These are overloads, because GCC rejects the conversion in a template.
[[gnu::always_inline]] inline void convert(const Ints4& from, Floats4& to) {
  to = __builtin_convertvector(from, Floats4);
}
[[gnu::always_inline]] inline void convert(const Ints8& from, Floats8& to) {
  to = __builtin_convertvector(from, Floats8);
}

/// Returns the grid (see `TonePhase`) for a period, or `std::nullopt` if not every integer is a multiple of the grid's
/// spacing.
std::optional<TonePhase::Grid> gridOf(float period) {
  if (!(period >= 1.0F && period < 0x1p24F)) return std::nullopt;
  const auto bits = std::bit_cast<std::uint32_t>(period);
  return TonePhase::Grid{static_cast<std::int32_t>((bits & 0x7FFFFF) | 0x800000), 1 << (150 - (bits >> 23))};
}

/// Returns whether the last sum within a period may exceed a power of two, above which the spacing of floats is twice
/// as large.
bool wrapsOffGrid(TonePhase::Grid grid) {
  return grid.period + grid.sample > 1 << 24;
}

/// Returns a phase in grid units, or `std::nullopt` if it is not a multiple of the grid's spacing or not within the
/// period.
std::optional<std::int32_t> phaseOnGrid(TonePhase::Grid grid, float phase) {
  const float spacings = phase * static_cast<float>(grid.sample);
  if (std::signbit(phase) || !(spacings <= static_cast<float>(grid.period))) return std::nullopt;
  const auto whole = static_cast<std::int32_t>(spacings);
  if (static_cast<float>(whole) != spacings) return std::nullopt;
  return whole;
}

std::int32_t twice(std::int32_t phase, std::int32_t period) {
  return 2 * phase > period ? 2 * phase - period : 2 * phase;
}

/// Adds `addend`, modulo the period, to the lanes whose index has the bit number `bit` set.
template <typename Ints>
[[gnu::always_inline]] inline void addWhereBit(int bit, std::int32_t addend, std::int32_t period, Ints& phases) {
  phases += -(lanePlaces<Ints> >> bit & 1) & addend;
  phases -= (phases > period) & period;
}

/// Computes the angles of phases that are given in grid units, and writes them to `angles`. Phases and period are
/// scaled by the same power of two, which does not change their quotient.
template <typename Floats, typename Ints>
[[gnu::always_inline]] inline void writeAngles(const Ints& phases, float period, float* angles) {
  Floats lanes;
  convert(phases, lanes);
  lanes = lanes / period * oneTurn;
  std::memcpy(angles, &lanes, sizeof lanes);
}
[[gnu::always_inline]] inline float angleOf(std::int32_t phase, float period) {
  return static_cast<float>(phase) / period * oneTurn;
}

/// Writes the angles that begin at a phase on the grid (see `TonePhase`), period by period, and returns the phase after
/// the last one. The first phase of a period is rounded if the preceding sum exceeds the power of two.
template <typename Ints, typename Floats>
[[gnu::always_inline]] inline std::int32_t countByPeriods(TonePhase::Grid grid, std::int32_t phase,
                                                          std::span<float> angles) {
  constexpr auto laneCount = static_cast<std::int32_t>(sizeof(Ints) / sizeof(std::int32_t));
  const auto period = static_cast<float>(grid.period);
  const Ints places = lanePlaces<Ints> * grid.sample;
  while (!angles.empty()) {
    const auto left = static_cast<std::int32_t>(std::min<std::size_t>(angles.size(), 1 << 24));
    const std::int32_t count = std::min((grid.period - phase) / grid.sample + 1, left);
    std::int32_t at = 0;
    // Lanes beyond the end of the period are overwritten by the next period.
    for (; at < count && at + laneCount <= left; at += laneCount) {
      writeAngles<Floats>(places + (phase + at * grid.sample), period, &angles[static_cast<std::size_t>(at)]);
    }
    for (; at < count; ++at) angles[static_cast<std::size_t>(at)] = angleOf(phase + at * grid.sample, period);
    phase += count * grid.sample;
    if (phase > grid.period) phase = static_cast<std::int32_t>(static_cast<float>(phase)) - grid.period;
    angles = angles.subspan(static_cast<std::size_t>(count));
  }
  return phase;
}

/// Writes the angles that begin at a phase on the grid (see `TonePhase`) and returns the phase after the last one.
/// Requires that every sum is exact, so that each lane (vector element) can subtract the period independently.
template <typename Ints, typename Floats>
[[gnu::always_inline]] inline std::int32_t countOnGrid(TonePhase::Grid grid, std::int32_t phase,
                                                       std::span<float> angles) {
  constexpr std::size_t laneCount = sizeof(Ints) / sizeof(std::int32_t);
  const std::int32_t two = twice(grid.sample, grid.period);
  const std::int32_t four = twice(two, grid.period);
  const std::int32_t step = laneCount == 4 ? four : twice(four, grid.period);
  Ints phases = Ints{} + phase;
  addWhereBit(0, grid.sample, grid.period, phases);
  addWhereBit(1, two, grid.period, phases);
  addWhereBit(2, four, grid.period, phases);

  const auto period = static_cast<float>(grid.period);
  std::size_t at = 0;
  for (; at + laneCount <= angles.size(); at += laneCount) {
    writeAngles<Floats>(phases, period, &angles[at]);
    phases += step;
    phases -= (phases > grid.period) & grid.period;
  }
  std::array<std::int32_t, laneCount> rest = {};
  std::memcpy(rest.data(), &phases, sizeof phases);
  for (std::size_t i = 0; at + i < angles.size(); ++i) {
    angles[at + i] = angleOf(rest[i], period);
  }
  return rest[angles.size() - at];
}

template <typename Ints, typename Floats>
[[gnu::always_inline]] inline std::int32_t countTogether(TonePhase::Grid grid, std::int32_t phase,
                                                         std::span<float> angles) {
  if (wrapsOffGrid(grid)) return countByPeriods<Ints, Floats>(grid, phase, angles);
  return countOnGrid<Ints, Floats>(grid, phase, angles);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] std::int32_t countIn256Bits(TonePhase::Grid grid, std::int32_t phase, std::span<float> angles) {
  return countTogether<Ints8, Floats8>(grid, phase, angles);
}
#endif

std::int32_t countTogether(TonePhase::Grid grid, std::int32_t phase, std::span<float> angles,
                           [[maybe_unused]] RegisterWidth width) {
#if defined(__x86_64__)
  if (width == RegisterWidth::bits256) return countIn256Bits(grid, phase, angles);
#endif
  return countTogether<Ints4, Floats4>(grid, phase, angles);
}

}  // namespace

TonePhase::TonePhase(float phase, float period) : mPhase(phase), mPeriod(period), mGrid(gridOf(period)) {}

bool TonePhase::nextAngles(std::span<float> angles, RegisterWidth width) {
  const auto phase = mGrid ? phaseOnGrid(*mGrid, mPhase) : std::nullopt;
  if (!phase) return countOneByOne(angles);
  mPhase = static_cast<float>(countTogether(*mGrid, *phase, angles, width)) / static_cast<float>(mGrid->sample);
  return true;
}

bool TonePhase::countOneByOne(std::span<float> angles) {
  bool withinOneTurn = true;
  for (float& angle : angles) {
    angle = mPhase / mPeriod * oneTurn;
    withinOneTurn = withinOneTurn && !std::signbit(angle) && angle <= oneTurn;
    mPhase += 1.0F;
    if (mPhase > mPeriod) mPhase -= mPeriod;
  }
  return withinOneTurn;
}

}  // namespace orvane
