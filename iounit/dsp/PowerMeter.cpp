// SPDX-License-Identifier: MIT
#include "iounit/dsp/PowerMeter.h"

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
#include "iounit/dsp/MeterLanes.h"
#include "iounit/dsp/Processor.h"

namespace orvane {

namespace {

static_assert(alignof(PowerMeter) == 16 && std::is_trivially_copyable_v<PowerMeter>);

constexpr double lnThousandth = -6.907755278982137;  // ln 0.001: 60 dB down
constexpr double holdDecaySeconds = 2.5;
constexpr double releaseSeconds = 1.24;
constexpr double minTime = 1e-5;                  // below this many samples a level falls immediately
constexpr double holdSeconds = 0.90702947845805;  // 40000 samples at 44100 Hz
constexpr double defaultSampleRate = 44100.0;
constexpr double defaultHoldDecayBase = 0.999937346586127;
constexpr double defaultReleaseBase = 0.9998736866542507;
constexpr double smoothing = 0.03;
constexpr int integerSmoothingShift = 5;
constexpr int int32Shift = 9;  // from 24 fraction bits to the 15 of the 16-bit scale
constexpr double integerScale = 0x1p-15;
constexpr double integerSquareScale = 0x1p-30;
constexpr double minLevel = 1e-15;
constexpr double maxLevel = 1e15;

/// Returns the factor per sample with which a level falls by 60 dB in the given time.
double decayBase(double rate, double seconds) {
  const double samples = rate * seconds;
  return samples < minTime ? 0.0 : std::exp(lnThousandth / samples);
}

/// Returns the value, or 0 if its magnitude is at most 1e-15 or at least 1e15, or if it is not-a-number.
double flushed(double value) {
  const double magnitude = std::fabs(value);
  return magnitude > minLevel && magnitude < maxLevel ? value : 0.0;
}

/// Flushes each lane as `flushed(double)` does: returns 0 for lanes that are too small, too large or not-a-number. The
/// thresholds are the floats nearest to 1e-15 and 1e15.
FourLanes flushed(FourLanes lanes) {
  constexpr float minFloat = 1.00000000362749e-15F;
  constexpr float maxFloat = 999999986991104.0F;
  static_assert(minFloat > minLevel && std::bit_cast<float>(std::bit_cast<int>(minFloat) - 1) < minLevel);
  static_assert(maxFloat < maxLevel && std::bit_cast<float>(std::bit_cast<int>(maxFloat) + 1) > maxLevel);
  using Mask [[gnu::vector_size(sizeof lanes)]] = std::int32_t;
  const Mask bits = std::bit_cast<Mask>(lanes);
  const FourLanes magnitudes = std::bit_cast<FourLanes>(bits & std::numeric_limits<std::int32_t>::max());
  return std::bit_cast<FourLanes>(bits & (magnitudes >= minFloat) & (magnitudes <= maxFloat));
}

/// Returns `target` if it is not below `level`; otherwise returns the level lowered by `fraction` of the distance to
/// `target`.
double released(double level, double target, double fraction) {
  return level > target ? level + (target - level) * fraction : target;
}

/// Returns whether the samples can be processed four per step: they are contiguous and aligned, and the vector unit may
/// be used.
bool takesLanes(const float* samples, int stride) {
  std::int32_t type = gPXVectorUnitType.load(std::memory_order_relaxed);
  if (type == -1) type = PXVectorUnit_Examine();
  return type >= 1 && stride == 1 && reinterpret_cast<std::uintptr_t>(samples) % alignof(FourLanes) == 0;
}

/// The peak and the mean square of a block of float samples.
struct Measured {
  float peak;
  double meanSquare;
};

/// Ends the processing of samples in groups of four: stores the mean square of each lane for the next block, and
/// returns the peak and mean square of all lanes together.
inline Measured saveLanes(PowerMeter& meter, const std::array<float, 4>& lanes, const std::array<float, 4>& maxima) {
  meter.mLaneMeanSquare = std::bit_cast<std::array<float, 4>>(flushed(std::bit_cast<FourLanes>(lanes)));
  return {std::max(std::max(maxima[0], maxima[1]), std::max(maxima[2], maxima[3])),
          double{((lanes[0] + lanes[1]) + lanes[2]) + lanes[3]} * 0.25};
}

/// Returns the peak and the mean square in `block`, updated with `frameCount` samples one at a time.
inline Measured processOneByOne(Measured block, const float* samples, int stride, int frameCount) {
  for (int frame = 0; frame < frameCount; ++frame) {
    const float magnitude = std::fabs(samples[std::ptrdiff_t{frame} * stride]);
    if (magnitude > block.peak) block.peak = magnitude;
    block.meanSquare += (double{magnitude * magnitude} - block.meanSquare) * smoothing;
  }
  return block;
}

struct Levels {
  double peak, average, hold;
};

/// Returns the levels after a block with the given peak and average. The average level is limited to the held peak.
/// Adds `frameCount` to the counter of the peak hold.
inline Levels nextLevels(PowerMeter& meter, int frameCount, double peak, double average) {
  Levels next = {peak, average, meter.mPeakHold};
  if (!meter.mInstantaneous) {
    next.peak = released(meter.mPeakLevel, peak, meter.mRelease);
    next.average = released(meter.mAverageLevel, average, meter.mRelease);
  }
  // The counter saturates; otherwise twelve hours of silence would overflow it.
  constexpr std::int64_t maxHold = std::numeric_limits<std::int32_t>::max();
  meter.mHoldCounter = static_cast<std::int32_t>(std::min(std::int64_t{meter.mHoldCounter} + frameCount, maxHold));
  if (meter.mHoldCounter >= truncateToInt32(meter.mSampleRate * holdSeconds)) next.hold -= next.hold * meter.mHoldDecay;
  if (next.hold < next.peak) {
    next.hold = next.peak;
    meter.mHoldCounter = 0;
  }
  if (next.average > next.hold) next.average = next.hold;
  return next;
}

/// Computes the peak and the running mean square of a block of integer samples. `magnitudeAt(frame)` returns the
/// magnitude of a sample. The arithmetic wraps around at 32 bits, so it is done with unsigned integers.
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
    const auto step = static_cast<std::int32_t>(square - mean) >> integerSmoothingShift;
    meanSquare = static_cast<std::int32_t>(mean + static_cast<std::uint32_t>(step));
  }
  meter.SavePeaks(frameCount, meanSquare, peak);
}

}  // namespace

void PowerMeter::SetSampleRate(double rate) {
  mSampleRate = rate;
  mHoldDecayBase = decayBase(rate, holdDecaySeconds);
  mReleaseBase = decayBase(rate, releaseSeconds);
}

void PowerMeter::Process(const float* samples, int stride, int frameCount) {
  ScaleDecayConstants(frameCount);
  Measured block = {0.0F, mMeanSquare};
  int remaining = frameCount;
  if (takesLanes(samples, stride)) ProcessVector(samples, remaining, block.peak, block.meanSquare);
  block = processOneByOne(block, samples, stride, remaining);
  SaveLevels(frameCount, block.meanSquare, block.peak);
}

void PowerMeter::Process_Int16(const std::int16_t* samples, int stride, int frameCount) {
  processIntegers(*this, frameCount,
                  [&](int frame) { return std::abs(std::int32_t{samples[std::ptrdiff_t{frame} * stride]}); });
}

void PowerMeter::Process_Int32(const std::int32_t* samples, int stride, int frameCount) {
  processIntegers(*this, frameCount,
                  [&](int frame) { return std::abs(samples[std::ptrdiff_t{frame} * stride] >> int32Shift); });
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
    mSampleRate = defaultSampleRate;
    mHoldDecayBase = defaultHoldDecayBase;
    mReleaseBase = defaultReleaseBase;
  }
  const auto frames = static_cast<double>(frameCount);
  mHoldDecay = 1.0 - std::pow(mHoldDecayBase, frames);
  mRelease = 1.0 - std::pow(mReleaseBase, frames);
  mBlockSize = frameCount;
}

void PowerMeter::ProcessVector(const float*& data, int& remaining, float& peak, double& meanSquare) {
  FourLanes lanes;
  std::memcpy(&lanes, mLaneMeanSquare.data(), sizeof lanes);
  FourLanes maxima = {};
  const float* const end = data + std::max(remaining, 0) / 4 * 4;
  for (const float* group = data; group != end; group += 4) {
    FourLanes samples;
    std::memcpy(&samples, group, sizeof samples);
    meterLanes(samples, lanes, maxima);
  }
  data = end;
  remaining %= 4;
  const Measured block =
      saveLanes(*this, std::bit_cast<std::array<float, 4>>(lanes), std::bit_cast<std::array<float, 4>>(maxima));
  peak = block.peak;
  meanSquare = block.meanSquare;
}

void PowerMeter::FinishBlock(const float* rest, int frameCount, const std::array<float, 4>& lanes,
                             const std::array<float, 4>& maxima) {
  const Measured block = processOneByOne(saveLanes(*this, lanes, maxima), rest, 1, frameCount % 4);
  SaveLevels(frameCount, block.meanSquare, block.peak);
}

void PowerMeter::SaveLevels(int frameCount, double meanSquare, float peak) {
  if (peak > mMaxPeak) mMaxPeak = peak;
  if (!std::isfinite(meanSquare)) {
    (std::isnan(meanSquare) ? mSawNaN : mSawInfinity) = true;
    peak = 1.0F;
    meanSquare = 0.0;
  }
  const Levels levels = nextLevels(*this, frameCount, double{peak}, std::sqrt(meanSquare) * std::numbers::sqrt2);
  mMeanSquare = flushed(meanSquare);
  mPeakLevel = flushed(levels.peak);
  mAverageLevel = flushed(levels.average);
  mPeakHold = flushed(levels.hold);
}

void PowerMeter::SavePeaks(int frameCount, int meanSquare, int peak) {
  const Levels levels = nextLevels(*this, frameCount, double{static_cast<float>(peak * integerScale)},
                                   std::sqrt(meanSquare * integerSquareScale) * std::numbers::sqrt2);
  mMeanSquareInt = meanSquare;
  mPeakLevel = levels.peak;
  mAverageLevel = levels.average;
  mPeakHold = levels.hold;
}

}  // namespace orvane
