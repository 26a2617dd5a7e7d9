// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/Export.h"

namespace orvane {

/// A sine oscillator with two renderers. `Render` computes a correctly rounded sine for each sample, so its samples
/// have the same bits on every machine. `Render16` is a two-pole resonator in fixed point. Each has its own state.
///
/// Both write `frameCount` frames. With one channel, sample k is written to `buffer[k * stride]`; with two, the same
/// value is written to `buffer[2 * k * stride]` and the element after it. For any other channel count nothing is
/// written and the phase does not advance. The buffer must be large enough; nothing checks it.
///
/// Not thread-safe. Real-time safe. Operations never fail and never throw.
class ORVANE_EXPORT SineWaveGenerator {
 public:
  /// Makes a generator of 440 Hz at 44100 Hz with amplitude 0.25.
  SineWaveGenerator() { SetInitialValues(); }
  virtual ~SineWaveGenerator() = default;

  /// Renders 32-bit float samples from `mPhase` on at `mFrequency` and `mAmplitude`, then multiplies `mFrequency` by
  /// `mSweepFactor` (for any channel count). If the frequency is then outside 60 Hz to 3000 Hz, the factor is inverted,
  /// unless it is 0.
  virtual void Render(float* buffer, std::uint32_t frameCount, int channelCount, int stride);

  /// Renders signed 16-bit samples from the resonator's state on. The first sample after a set-up is amplitude x
  /// sin(w), w being the angle of one sample. Samples of an amplitude above 1 wrap around.
  virtual void Render16(std::int16_t* buffer, std::uint32_t frameCount, int channelCount, int stride);

  /// Stores the rate in hertz, sets the phase to 0 and sets up the resonator.
  virtual void SetSampleRate(float rate);

  /// Sets up the resonator for `mFrequency` and `mSampleRate` and keeps `mPhase`. Call this or `SetSampleRate` after
  /// changing `mFrequency`, or `Render16` keeps the old frequency.
  void SetInitialValues();

  float mSampleRate = 44100.0F;   ///< Hz.
  float mFrequency = 440.0F;      ///< Hz.
  float mAmplitude = 0.25F;       ///< Linear peak; 1 is full scale.
  float mPhase = 0.0F;            ///< Position in the period, in samples (`Render`).
  float mSweepFactor = 1.0F;      ///< Factor on the frequency after each `Render`.
  std::int32_t mCoefficient = 0;  ///< 2 cos w with 30 fraction bits.
  std::int32_t mState1 = 0;       ///< The latest resonator value (28 fraction bits), times 4.
  std::int32_t mState2 = 0;       ///< The resonator value before that.
};

}  // namespace orvane
