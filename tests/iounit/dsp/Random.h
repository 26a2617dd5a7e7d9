// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace orvane::test {

using Limits = std::numeric_limits<float>;
using Words = std::numeric_limits<std::int32_t>;

/// Returns the bits of each value, converted to a double, for exact comparison. 0 and -0 give different bits; all NaNs
/// give the same bits.
template <typename Value>
std::vector<std::uint64_t> bitsOf(const std::vector<Value>& values) {
  std::vector<std::uint64_t> bits;
  for (const double value : std::vector<double>(values.begin(), values.end()))
    bits.push_back(std::isnan(value) ? ~0ULL : std::bit_cast<std::uint64_t>(value));
  return bits;
}

/// Returns the bits of every field of a meter, for exact comparison. A hold counter beyond the range of 32 bits is
/// limited to its maximum.
template <typename Meter>
std::vector<std::uint64_t> fieldsOf(const Meter& m) {
  std::vector<double> fields(m.mLaneMeanSquare.begin(), m.mLaneMeanSquare.end());
  const auto add = [&](auto... values) { (fields.push_back(static_cast<double>(values)), ...); };
  add(m.mInstantaneous, m.mSawInfinity, m.mSawNaN, m.mBlockSize, m.mMeanSquareInt, m.mSampleRate, m.mHoldDecayBase);
  add(m.mHoldDecay, m.mReleaseBase, m.mRelease, m.mMeanSquare, m.mPeakLevel, m.mAverageLevel, m.mPeakHold, m.mMaxPeak);
  add(std::min<std::int64_t>(m.mHoldCounter, Words::max()));
  return bitsOf(fields);
}

/// A generator of random input. It produces the same sequence in every run and on every processor.
class Random {
 public:
  std::int32_t draw(std::int32_t low, std::int32_t high) {
    const auto range = static_cast<std::uint64_t>(std::int64_t{high} - low + 1);
    return static_cast<std::int32_t>(low + static_cast<std::int64_t>(mEngine() % range));
  }
  float drawBetween(float low, float high) {
    return low + (high - low) * (static_cast<float>(draw(0, 1 << 24)) * 0x1p-24F);
  }

  /// Returns a random sample. `kind` is from 0 to 12: the kinds 0 to 7 are noise of different amplitudes; the others
  /// are noise with occasional infinities, NaNs and negative zeros.
  float drawSample(int kind) {
    constexpr float scales[] = {1.0F, 0.0F, 1e-40F, 3e-8F, 1e-19F, 1e7F, 1e15F, 3e38F};
    constexpr float rare[] = {Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(), -0.0F};
    const float noise = drawBetween(-1.0F, 1.0F);
    if (kind < 8) return noise * scales[kind];
    return draw(0, 15) == 0 ? rare[draw(0, 3)] : noise;
  }

  /// Returns a random 32-bit sample. `kind` is from 0 to 12: up to 10, each kind is a quarter as loud as the one before
  /// it; the others are the minimum or the maximum of the type.
  std::int32_t drawWord(int kind) {
    if (kind > 10) return draw(0, 1) == 0 ? Words::min() : Words::max();
    return draw(-1, 1) * (draw(0, Words::max()) >> (2 * kind));
  }

 private:
  std::mt19937_64 mEngine{20240229};
};

}  // namespace orvane::test
