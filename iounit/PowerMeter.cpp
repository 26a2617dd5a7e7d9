#include "iounit/PowerMeter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numbers>
#include <type_traits>

#include "Pexutil/Source/Utility/PXVectorUnit.h"
#include "iounit/TruncateToInt32.h"

namespace orvane {
namespace {

static_assert(alignof(PowerMeter) == 16 && std::is_trivially_copyable_v<PowerMeter>);

/// Four samples a step, on every processor that GCC and Clang know.
using Lanes [[gnu::vector_size(16)]] = float;
using LaneBits [[gnu::vector_size(16)]] = std::int32_t;

constexpr double kLnThousandth = -6.907755278982137;  // ln 0.001: 60 dB down
constexpr double kHoldDecaySeconds = 2.5;
constexpr double kReleaseSeconds = 1.24;
constexpr double kSmallestTime = 1e-5;             // below this many samples a level falls at once
constexpr double kHoldSeconds = 0.90702947845805;  // 40000 samples at 44100 Hz
constexpr double kDefaultSampleRate = 44100.0;
constexpr double kDefaultHoldDecayBase = 0.999937346586127;
constexpr double kDefaultReleaseBase = 0.9998736866542507;
constexpr double kSmoothing = 0.03;
constexpr float kLaneSmoothing = 0.11470700055360794F;  // what 0.03 a sample comes to in four
static_assert(std::bit_cast<std::uint32_t>(kLaneSmoothing) == 0x3DEAEB81);
constexpr int kIntegerSmoothingShift = 5;
constexpr int kInt32Shift = 9;  // from 24 fraction bits to the 15 of the 16-bit scale
constexpr double kIntegerScale = 0x1p-15;
constexpr double kIntegerSquareScale = 0x1p-30;
constexpr double kSmallestLevel = 1e-15;
constexpr double kLargestLevel = 1e15;

/// The factor for one sample of a fall by 60 dB in the given time.
double decayBase(double rate, double seconds) {
  const double samples = rate * seconds;
  return samples < kSmallestTime ? 0.0 : std::exp(kLnThousandth / samples);
}

/// The value, or 0 where it is too small, too large or not a number.
template <typename Value>
Value flushed(Value value) {
  const double magnitude = std::fabs(double{value});
  return magnitude > kSmallestLevel && magnitude < kLargestLevel ? value : Value{0};
}

/// The target where the level rises, else the given fraction of the way down to it.
double released(double level, double target, double fraction) {
  return level > target ? level + (target - level) * fraction : target;
}

Lanes magnitudes(Lanes samples) {
  return std::bit_cast<Lanes>(std::bit_cast<LaneBits>(samples) & std::numeric_limits<std::int32_t>::max());
}

/// Four samples a step are wanted and the samples lie where they can be taken so.
bool takesLanes(const float* samples, int stride) {
  std::int32_t type = gPXVectorUnitType.load(std::memory_order_relaxed);
  if (type == -1) type = PXVectorUnit_Examine();
  return type >= 1 && stride == 1 && std::bit_cast<std::uintptr_t>(samples) % alignof(Lanes) == 0;
}

/// Carries the peak and the running mean square over samples one at a time.
void processOneByOne(const float* samples, int stride, int frameCount, float& peak, double& meanSquare) {
  float highest = peak;
  double mean = meanSquare;
  for (int frame = 0; frame < frameCount; ++frame) {
    const float magnitude = std::fabs(samples[std::ptrdiff_t{frame} * stride]);
    if (magnitude > highest) highest = magnitude;
    mean += (double{magnitude * magnitude} - mean) * kSmoothing;
  }
  peak = highest;
  meanSquare = mean;
}

/// The peak and the running mean square of a block of integers, whose magnitudes `magnitudeAt` gives. The arithmetic is
/// that of 32 bits and wraps around, so it is done without a sign.
template <typename MagnitudeAt>
void processIntegers(PowerMeter& meter, int frameCount, MagnitudeAt magnitudeAt) {
  meter.ScaleDecayConstants(frameCount);
  std::int32_t meanSquare = meter.mMeanSquareInt;
  std::int32_t peak = 0;
  for (int frame = 0; frame < frameCount; ++frame) {
    const std::int32_t magnitude = magnitudeAt(frame);
    peak = std::max(peak, magnitude);
    const auto mean = static_cast<std::uint32_t>(meanSquare);
    const std::uint32_t square = static_cast<std::uint32_t>(magnitude) * static_cast<std::uint32_t>(magnitude);
    const auto step = static_cast<std::int32_t>(square - mean) >> kIntegerSmoothingShift;
    meanSquare = static_cast<std::int32_t>(mean + static_cast<std::uint32_t>(step));
  }
  meter.SavePeaks(frameCount, meanSquare, peak);
}

}  // namespace

void PowerMeter::SetSampleRate(double rate) {
  mSampleRate = rate;
  mHoldDecayBase = decayBase(rate, kHoldDecaySeconds);
  mReleaseBase = decayBase(rate, kReleaseSeconds);
}

void PowerMeter::Process(const float* samples, int stride, int frameCount) {
  ScaleDecayConstants(frameCount);
  double meanSquare = mMeanSquare;
  float peak = 0.0F;
  int remaining = frameCount;
  if (takesLanes(samples, stride)) ProcessVector(samples, remaining, peak, meanSquare);
  processOneByOne(samples, stride, remaining, peak, meanSquare);
  SaveLevels(frameCount, meanSquare, peak);
}

void PowerMeter::Process_Int16(const std::int16_t* samples, int stride, int frameCount) {
  processIntegers(*this, frameCount,
                  [&](int frame) { return std::abs(std::int32_t{samples[std::ptrdiff_t{frame} * stride]}); });
}

void PowerMeter::Process_Int32(const std::int32_t* samples, int stride, int frameCount) {
  processIntegers(*this, frameCount,
                  [&](int frame) { return std::abs(samples[std::ptrdiff_t{frame} * stride] >> kInt32Shift); });
}

void PowerMeter::ProcessSilence(int /*frameCount*/) {
  mMeanSquare = 0.0;
  mMeanSquareInt = 0;
  mHoldCounter = 0;
  mPeakLevel = 0.0;
  mAverageLevel = 0.0;
  mPeakHold = 0.0;
}

void PowerMeter::Reset() {
  ProcessSilence(0);
  ClearClipping();
  mLaneMeanSquare = {};
  mBlockSize = -1;
}

void PowerMeter::ClearClipping() {
  mMaxPeak = 0.0F;
  mSawInfinity = false;
  mSawNaN = false;
}

void PowerMeter::ScaleDecayConstants(int frameCount) {
  if (frameCount == mBlockSize) return;
  if (mSampleRate == 0.0) {
    mSampleRate = kDefaultSampleRate;
    mHoldDecayBase = kDefaultHoldDecayBase;
    mReleaseBase = kDefaultReleaseBase;
  }
  const auto frames = static_cast<double>(frameCount);
  mHoldDecay = 1.0 - std::pow(mHoldDecayBase, frames);
  mRelease = 1.0 - std::pow(mReleaseBase, frames);
  mBlockSize = frameCount;
}

void PowerMeter::ProcessVector(const float*& data, int& remaining, float& peak, double& meanSquare) {
  Lanes lanes;
  std::memcpy(&lanes, mLaneMeanSquare.data(), sizeof lanes);
  Lanes maxima = {};
  const float* const end = data + std::max(remaining, 0) / 4 * 4;
  for (const float* group = data; group != end; group += 4) {
    Lanes samples;
    std::memcpy(&samples, group, sizeof samples);
    lanes += (samples * samples - lanes) * kLaneSmoothing;
    // In this order of operands a sample that is not a number leaves the maximum alone, as it does one by one.
    const Lanes magnitude = magnitudes(samples);
    maxima = magnitude > maxima ? magnitude : maxima;
  }
  data = end;
  remaining %= 4;
  peak = std::max({maxima[0], maxima[1], maxima[2], maxima[3]});
  meanSquare = double{((lanes[0] + lanes[1]) + lanes[2]) + lanes[3]} * 0.25;
  mLaneMeanSquare = {flushed(lanes[0]), flushed(lanes[1]), flushed(lanes[2]), flushed(lanes[3])};
}

void PowerMeter::SaveLevels(int frameCount, double meanSquare, float peak) {
  if (peak > mMaxPeak) mMaxPeak = peak;
  if (!std::isfinite(meanSquare)) {
    (std::isnan(meanSquare) ? mSawNaN : mSawInfinity) = true;
    peak = 1.0F;
    meanSquare = 0.0;
  }
  mMeanSquare = meanSquare;
  UpdatePeakLevel(double{peak});
  UpdatePeakHold(frameCount);
  UpdateAverageLevel(std::sqrt(meanSquare) * std::numbers::sqrt2);
  FlushLevels();
}

void PowerMeter::SavePeaks(int frameCount, int meanSquare, int peak) {
  mMeanSquareInt = meanSquare;
  UpdatePeakLevel(double{static_cast<float>(peak * kIntegerScale)});
  UpdatePeakHold(frameCount);
  UpdateAverageLevel(std::sqrt(meanSquare * kIntegerSquareScale) * std::numbers::sqrt2);
}

void PowerMeter::UpdatePeakLevel(double peak) {
  mPeakLevel = mInstantaneous ? peak : released(mPeakLevel, peak, mRelease);
}

void PowerMeter::UpdatePeakHold(int frameCount) {
  // Twelve hours of silence would take the counter past its range. It stays at the end, which no hold time lies beyond.
  mHoldCounter = truncateToInt32(static_cast<double>(mHoldCounter) + frameCount);
  if (mHoldCounter >= truncateToInt32(mSampleRate * kHoldSeconds)) mPeakHold -= mPeakHold * mHoldDecay;
  if (mPeakHold < mPeakLevel) {
    mPeakHold = mPeakLevel;
    mHoldCounter = 0;
  }
}

void PowerMeter::UpdateAverageLevel(double level) {
  mAverageLevel = mInstantaneous ? level : released(mAverageLevel, level, mRelease);
  if (mAverageLevel > mPeakHold) mAverageLevel = mPeakHold;
}

void PowerMeter::FlushLevels() {
  mMeanSquare = flushed(mMeanSquare);
  mPeakLevel = flushed(mPeakLevel);
  mAverageLevel = flushed(mAverageLevel);
  mPeakHold = flushed(mPeakHold);
}

}  // namespace orvane
