// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/Export.h"

namespace orvane {

/// A sine oscillator with two renderers, each with its own state. `Render` computes a correctly rounded sine for each
/// float sample, so its samples have the same bits on every machine. `Render16` computes 16-bit samples with a two-pole
/// resonator in fixed-point arithmetic.
///
/// Both renderers write `frameCount` frames. With one channel, sample k is written to `buffer[k * stride]`; with two,
/// the same value is written to `buffer[2 * k * stride]` and the element after it. For any other channel count nothing
/// is written and the phase does not advance. The buffer must be large enough; its size is not checked.
///
/// Not thread-safe. Real-time safe. Operations never fail and never throw.
class ORVANE_EXPORT SineWaveGenerator {
 public:
  /// Creates a generator of a 440 Hz tone with amplitude 0.25 at a sample rate of 44100 Hz.
  SineWaveGenerator() { SetInitialValues(); }
  virtual ~SineWaveGenerator() = default;

  /// Renders 32-bit float samples with the frequency `mFrequency` and the amplitude `mAmplitude`, starting at the phase
  /// `mPhase`. Then multiplies `mFrequency` by `mSweepFactor`, whatever the channel count. If the new frequency is
  /// below 60 Hz or above 3000 Hz, replaces `mSweepFactor` by its reciprocal, unless it is 0.
  virtual void Render(float* buffer, std::uint32_t frameCount, int channelCount, int stride);

  /// Renders signed 16-bit samples, continuing from the resonator's state. The first sample after `SetInitialValues` is
  /// amplitude x sin(w), where w is the phase increment per sample. Samples beyond full scale wrap around.
  virtual void Render16(std::int16_t* buffer, std::uint32_t frameCount, int channelCount, int stride);

  /// Stores the sample rate in hertz, sets the phase to 0 and initialises the resonator.
  virtual void SetSampleRate(float rate);

  /// Initialises the resonator for `mFrequency` and `mSampleRate`, and keeps `mPhase`. After a change of `mFrequency`,
  /// `Render16` uses the new frequency only after a call of this function or of `SetSampleRate`.
  void SetInitialValues();

  float mSampleRate = 44100.0F;   ///< Hz.
  float mFrequency = 440.0F;      ///< Hz.
  float mAmplitude = 0.25F;       ///< Linear peak; 1 is full scale.
  float mPhase = 0.0F;            ///< Position in the period, in samples; used by `Render`.
  float mSweepFactor = 1.0F;      ///< Factor by which `Render` multiplies the frequency.
  std::int32_t mCoefficient = 0;  ///< Resonator coefficient 2 cos(w), with 30 fraction bits.
  std::int32_t mState1 = 0;       ///< The latest resonator value (28 fraction bits), times 4.
  std::int32_t mState2 = 0;       ///< The resonator value before the latest one.
};

}  // namespace orvane
