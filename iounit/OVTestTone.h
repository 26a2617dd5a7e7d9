// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"
#include "iounit/dsp/SineWaveGenerator.h"

/// Plays a continuous sine tone on the audio output, one oscillator for each of two channels. By default the right
/// channel sounds a perfect fifth (a frequency of 1.5 times) above the left one.
///
/// The properties may be set at any time and take effect at the next `start`. `stop` is inherited.
class ORVANE_EXPORT OVTestTone : public OVIOUnit {
 public:
  static std::shared_ptr<OVTestTone> init();
  ~OVTestTone() override;

  /// The left channel's frequency in hertz.
  double frequency() const { return _frequency; }
  void setFrequency(double frequency) { _frequency = frequency; }

  /// The linear peak amplitude of both channels; 1 is full scale.
  float amplitude() const { return _amplitude; }
  void setAmplitude(float amplitude) { _amplitude = amplitude; }

  /// Whether the right channel plays the left one's frequency.
  bool monotone() const { return _monotone; }
  void setMonotone(bool monotone) { _monotone = monotone; }

  /// The rate in hertz at which the tone is rendered; 0 stands for the hardware's.
  double clientSampleRate() const { return _clientSampleRate; }
  void setClientSampleRate(double clientSampleRate) { _clientSampleRate = clientSampleRate; }

  /// Starts the tone from the beginning of its period. A tone that plays is stopped first, because the device callback
  /// reads the oscillators that are set up here.
  ///
  /// Raises "Hardware sample rate is 0.0 after activating session and initializing AU" before anything is set up, and
  /// what `stop`, `initializeAU`, the formats and `OVIOUnit::start` raise. The unit then does not run, unless it was
  /// `stop` that failed: then nothing has changed.
  void start() override;

 protected:
  OVTestTone();

 private:
  orvane::SineWaveGenerator mWaveGeneratorL;
  orvane::SineWaveGenerator mWaveGeneratorR;
  bool _monotone = false;
  float _amplitude = 0.25F;
  double _frequency = 261.0;
  double _clientSampleRate = 0.0;
};
