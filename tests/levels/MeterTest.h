#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "Pexutil/Source/Utility/PXVectorUnit.h"

namespace orvane::levels {

using Word = std::int32_t;
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr Word kLowest = std::numeric_limits<Word>::min(), kHighest = std::numeric_limits<Word>::max();

/// The bits of every field; one NaN is as good as another, and a counter stops at 32 bits.
template <typename Meter>
std::vector<std::uint64_t> fieldsOf(const Meter& m) {
  std::vector<std::uint64_t> bits = {m.mInstantaneous,
                                     m.mSawInfinity,
                                     m.mSawNaN,
                                     static_cast<std::uint64_t>(m.mBlockSize),
                                     static_cast<std::uint64_t>(m.mMeanSquareInt),
                                     static_cast<std::uint64_t>(std::min<std::int64_t>(m.mHoldCounter, kHighest))};
  std::vector<double> values = {m.mSampleRate, m.mHoldDecayBase, m.mHoldDecay,    m.mReleaseBase, m.mRelease,
                                m.mMeanSquare, m.mPeakLevel,     m.mAverageLevel, m.mPeakHold,    double{m.mMaxPeak}};
  values.insert(values.end(), m.mLaneMeanSquare.begin(), m.mLaneMeanSquare.end());
  for (const double value : values) bits.push_back(std::isnan(value) ? ~0ULL : std::bit_cast<std::uint64_t>(value));
  return bits;
}

/// A process whose vector unit has not been examined, and seeded random input.
class MeterTest : public testing::Test {
 protected:
  MeterTest() { allowLanes(true); }
  ~MeterTest() override { allowLanes(true); }

  static void allowLanes(bool allow) {
    allow ? unsetenv("PX_NoVector") : setenv("PX_NoVector", "", 1);
    gPXVectorUnitType = -1;
  }

  Word draw(Word low, Word high) { return std::uniform_int_distribution<Word>(low, high)(mRandom); }

  /// A sample of one of thirteen kinds: of some loudness, or now and then a value that is no ordinary number.
  float drawSample(int kind) {
    const float noise = std::uniform_real_distribution<float>(-1.0F, 1.0F)(mRandom);
    constexpr float kScales[] = {1.0F, 0.0F, 1e-40F, 3e-8F, 1e-19F, 1e7F, 1e15F, 3e38F};
    constexpr float kRare[] = {kInfinity, -kInfinity, kNaN, -kNaN, -0.0F};
    if (kind < 8) return noise * kScales[kind];
    return draw(0, 15) == 0 ? kRare[draw(0, 4)] : noise;
  }

  std::mt19937 mRandom{20240229};
};

}  // namespace orvane::levels
