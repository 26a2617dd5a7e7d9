// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace orvane::test {

/// A second, simple power meter with which tests compare `PowerMeter`. It processes contiguous samples one at a time,
/// with 64-bit integers and a counter that does not overflow.
struct SlowPowerMeter {
  bool mInstantaneous = false, mSawInfinity = false, mSawNaN = false;
  double mSampleRate = 0, mHoldDecayBase = 0.999937346586127, mHoldDecay = 0.006;
  double mReleaseBase = 0.999873686654251, mRelease = 0.016;
  double mMeanSquare = 0, mPeakLevel = 0, mAverageLevel = 0, mPeakHold = 0;
  float mMaxPeak = 0;
  std::vector<float> mLaneMeanSquare = {0, 0, 0, 0};
  std::int64_t mBlockSize = -1, mMeanSquareInt = 0, mHoldCounter = 0;

  void setRate(double rate) {
    mSampleRate = rate;
    mHoldDecayBase = rate * 2.5 < 1e-5 ? 0 : std::exp(-6.907755278982137 / (rate * 2.5));
    mReleaseBase = rate * 1.24 < 1e-5 ? 0 : std::exp(-6.907755278982137 / (rate * 1.24));
  }

  void silence() { mMeanSquare = mPeakLevel = mAverageLevel = mPeakHold = 0, mMeanSquareInt = mHoldCounter = 0; }

  void clearClipping() { mSawInfinity = mSawNaN = false, mMaxPeak = 0; }

  void reset() { silence(), clearClipping(), mLaneMeanSquare.assign(4, 0), mBlockSize = -1; }

  void floats(const std::vector<float>& samples, bool fourLanes) {
    startBlock(samples.size());
    const std::size_t grouped = fourLanes ? samples.size() / 4 * 4 : 0;
    auto& lanes = mLaneMeanSquare;
    for (std::size_t i = 0; i < grouped; ++i)
      lanes[i % 4] += (samples[i] * samples[i] - lanes[i % 4]) * 0.11470700055360794F;
    if (fourLanes) {
      mMeanSquare = static_cast<double>(lanes[0] + lanes[1] + lanes[2] + lanes[3]) * 0.25;
      for (float& lane : lanes) lane = static_cast<float>(flush(static_cast<double>(lane)));
    }
    for (std::size_t i = grouped; i < samples.size(); ++i)
      mMeanSquare = mMeanSquare + (static_cast<double>(samples[i] * samples[i]) - mMeanSquare) * 0.03;
    float peak = 0;
    for (const float sample : samples) peak = std::max(peak, std::fabs(sample));  // which passes over no-numbers
    mMaxPeak = std::max(mMaxPeak, peak);
    mSawInfinity = mSawInfinity || std::isinf(mMeanSquare);
    mSawNaN = mSawNaN || std::isnan(mMeanSquare);
    if (!std::isfinite(mMeanSquare)) peak = 1, mMeanSquare = 0;
    finishBlock(samples.size(), static_cast<double>(peak), mMeanSquare);
    for (double* value : {&mMeanSquare, &mPeakLevel, &mAverageLevel, &mPeakHold}) *value = flush(*value);
  }

  /// Meters a block of integer samples with the full scale 2^15.
  void integers(const std::vector<std::int64_t>& samples) {
    startBlock(samples.size());
    std::int64_t peak = 0;
    for (const std::int64_t sample : samples) {
      peak = std::max(peak, std::abs(sample));
      const std::int64_t step = static_cast<std::int32_t>(sample * sample - mMeanSquareInt) >> 5;
      mMeanSquareInt = static_cast<std::int32_t>(mMeanSquareInt + step);
    }
    finishBlock(samples.size(), static_cast<double>(peak) / 32768, static_cast<double>(mMeanSquareInt) / 1073741824);
  }

 private:
  static double flush(double value) { return std::fabs(value) > 1e-15 && std::fabs(value) < 1e15 ? value : 0; }

  void startBlock(std::size_t frames) {
    if (static_cast<std::int64_t>(frames) == mBlockSize) return;
    mBlockSize = static_cast<std::int64_t>(frames);
    if (mSampleRate == 0) mSampleRate = 44100, mHoldDecayBase = 0.999937346586127, mReleaseBase = 0.9998736866542507;
    mHoldDecay = 1 - std::pow(mHoldDecayBase, static_cast<double>(frames));
    mRelease = 1 - std::pow(mReleaseBase, static_cast<double>(frames));
  }

  void finishBlock(std::size_t frames, double peak, double meanSquare) {
    const auto follow = [this](double& level, double target) {
      level = !mInstantaneous && level > target ? level + (target - level) * mRelease : target;
    };
    follow(mPeakLevel, peak);
    mHoldCounter += static_cast<std::int64_t>(frames);
    const double holdTime = std::min(std::trunc(mSampleRate * 0.90702947845805), 2147483647.0);
    if (static_cast<double>(mHoldCounter) >= holdTime) mPeakHold = mPeakHold - mPeakHold * mHoldDecay;
    if (mPeakHold < mPeakLevel) mPeakHold = mPeakLevel, mHoldCounter = 0;
    follow(mAverageLevel, std::sqrt(meanSquare) * 1.4142135623730951);
    mAverageLevel = std::min(mAverageLevel, mPeakHold);
  }
};

}  // namespace orvane::test
