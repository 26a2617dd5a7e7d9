// SPDX-License-Identifier: MIT
#include "iounit/dsp/SineWaveGenerator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>

#include "iounit/dsp/Processor.h"
#include "iounit/dsp/Sine.h"
#include "iounit/dsp/TonePhase.h"

namespace orvane {

namespace {

/// Calls `nextSample` once per frame and writes the result to the frame's one or two channels. Does nothing for any
/// other channel count.
template <typename Sample, typename Oscillator>
void writeFrames(Sample* buffer, std::uint32_t frameCount, int channelCount, int stride, Oscillator nextSample) {
  if (channelCount != 1 && channelCount != 2) return;
  const std::ptrdiff_t step = std::ptrdiff_t{stride} * channelCount;
  for (std::uint32_t frame = 0; frame < frameCount; ++frame) {
    const Sample sample = nextSample();
    Sample* const first = buffer + step * std::ptrdiff_t{frame};
    for (int channel = 0; channel < channelCount; ++channel) first[channel] = sample;
  }
}

/// The number of samples per block, which fits in the L1 cache.
constexpr std::size_t blockSamples = 1024;

/// Renders the next `samples.size()` samples of a tone and advances `phase`.
void render(std::span<float> samples, TonePhase& phase, float amplitude) {
  while (!samples.empty()) {
    const std::span<float> block = samples.first(std::min(samples.size(), blockSamples));
    if (phase.nextAngles(block)) {
      replaceBySines(block, amplitude);
    } else {
      for (float& sample : block) sample = amplitude * sineOf(sample);
    }
    samples = samples.subspan(block.size());
  }
}

/// Converts a value to an unsigned integer, for arithmetic modulo 2^32, which C++ defines for unsigned operands only.
constexpr std::uint32_t wrapping(std::int32_t value) {
  return static_cast<std::uint32_t>(value);
}

}  // namespace

void SineWaveGenerator::SetSampleRate(float rate) {
  mSampleRate = rate;
  mPhase = 0.0F;
  SetInitialValues();
}

void SineWaveGenerator::SetInitialValues() {
  const double omega = double{mFrequency / mSampleRate} * (2.0 * std::numbers::pi);
  // A cosine of 1 would give 2^31, one above the range, so the conversion must saturate.
  mCoefficient = truncateToInt32(std::cos(omega) * 2147483648.0);
  mState1 = 0;
  mState2 = truncateToInt32(std::sin(omega) * -1073741824.0) >> 2;
}

void SineWaveGenerator::Render(float* buffer, std::uint32_t frameCount, int channelCount, int stride) {
  TonePhase phase(mPhase, mSampleRate / mFrequency);
  if (channelCount == 1 && stride == 1) {
    render({buffer, frameCount}, phase, mAmplitude);
  } else if (channelCount == 1 || channelCount == 2) {
    std::array<float, blockSamples / 4> block = {};
    for (std::uint32_t done = 0; done < frameCount;) {
      const std::span samples(block.data(), std::min<std::size_t>(block.size(), frameCount - done));
      render(samples, phase, mAmplitude);
      const auto count = static_cast<std::uint32_t>(samples.size());
      float* const place = buffer + std::ptrdiff_t{stride} * channelCount * std::ptrdiff_t{done};
      writeFrames(place, count, channelCount, stride, [next = samples.begin()]() mutable { return *next++; });
      done += count;
    }
  }
  mPhase = phase.phase();
  mFrequency *= mSweepFactor;
  if (mSweepFactor != 0.0F && (mFrequency > 3000.0F || mFrequency < 60.0F)) mSweepFactor = 1.0F / mSweepFactor;
}

void SineWaveGenerator::Render16(std::int16_t* buffer, std::uint32_t frameCount, int channelCount, int stride) {
  const std::int32_t amplitude = truncateToInt32(double{mAmplitude * 32767.0F});
  const std::int32_t coefficient = mCoefficient;
  std::int32_t state1 = mState1;
  std::int32_t state2 = mState2;
  // y[n] = 2 cos w y[n-1] - y[n-2] with 28 fraction bits: state1 is 4 y[n-1], so the product's upper half is 2 cos w
  // y[n-1].
  writeFrames(buffer, frameCount, channelCount, stride, [&] {
    const std::int64_t product = std::int64_t{state1} * coefficient;
    const std::uint32_t value = wrapping(static_cast<std::int32_t>(product >> 32)) - wrapping(state2);
    state2 = state1 >> 2;
    state1 = static_cast<std::int32_t>(value << 2);
    const std::int32_t sample = state1 >> 15;
    return static_cast<std::int16_t>((wrapping(sample) * wrapping(amplitude)) >> 15);
  });
  mState1 = state1;
  mState2 = state2;
}

}  // namespace orvane
