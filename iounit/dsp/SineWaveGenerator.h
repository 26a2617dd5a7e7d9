// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/Export.h"

namespace orvane {

/// A sine oscillator with two renderers: `Render` computes the sine of each sample, correctly rounded, so that its
/// samples have the same bits everywhere; `Render16` runs a two-pole resonator in fixed point. Each keeps a state of
/// its own.
///
/// Both write `frameCount` frames. With one channel sample k goes to `buffer[k * stride]`; with two the same value goes
/// to `buffer[2 * k * stride]` and the slot after it. Any other channel count writes nothing and advances nothing.
///
/// One thread at a time. Nothing here allocates, locks, throws or fails: all of it may be called on the device
/// callback.
class ORVANE_EXPORT SineWaveGenerator {
 public:
  SineWaveGenerator() { SetInitialValues(); }
  virtual ~SineWaveGenerator() = default;

  /// Renders 32-bit float samples from `mPhase` on, then multiplies `mFrequency` by `mSweepFactor` (whatever the
  /// channel count); the factor is inverted at each call that leaves the frequency outside 60 Hz to 3000 Hz, which
  /// brings it back. Reads the frequency afresh at every call.
  virtual void Render(float* buffer, std::uint32_t frameCount, int channelCount, int stride);

  /// Renders signed 16-bit samples from the resonator's state on. The first one after a set-up is sin w x amplitude,
  /// not 0. An amplitude above 1 wraps around.
  virtual void Render16(std::int16_t* buffer, std::uint32_t frameCount, int channelCount, int stride);

  /// Stores the rate in Hz, returns to the start of the period and sets the resonator up anew.
  virtual void SetSampleRate(float rate);

  /// Sets the resonator up for the present frequency and rate, and leaves `mPhase` alone. Whoever changes `mFrequency`
  /// calls this, or `SetSampleRate`, for `Render16` to follow.
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
