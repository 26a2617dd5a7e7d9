// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"
#include "iounit/dsp/SineWaveGenerator.h"

/// Plays a continuous sine tone on two channels of the audio output. By default the right channel's frequency is 1.5
/// times the left one's, a perfect fifth.
///
/// The properties accept any value and take effect at the next `start`. `stop` is inherited. Thread rules are those of
/// `OVIOUnit`.
class ORVANE_EXPORT OVTestTone : public OVIOUnit {
 public:
  /// Makes a tone; its unit is made when it is first needed.
  static std::shared_ptr<OVTestTone> init();
  ~OVTestTone() override;

  /// The left channel's frequency in hertz. Default: 261.
  double frequency() const { return _frequency; }
  void setFrequency(double frequency) { _frequency = frequency; }

  /// The linear peak amplitude of both channels; 1 is full scale. Default: 0.25.
  float amplitude() const { return _amplitude; }
  void setAmplitude(float amplitude) { _amplitude = amplitude; }

  /// Whether the right channel plays the same frequency as the left one. Default: false.
  bool monotone() const { return _monotone; }
  void setMonotone(bool monotone) { _monotone = monotone; }

  /// The sample rate, in hertz, at which the tone is rendered; 0, the default, is the hardware's rate. `start` accepts
  /// at least 1/256 and at most 256 times the hardware's rate.
  double clientSampleRate() const { return _clientSampleRate; }
  void setClientSampleRate(double clientSampleRate) { _clientSampleRate = clientSampleRate; }

  /// Starts the tone at the beginning of its period, with a client format of two channels. Stops the tone first if it
  /// is playing.
  ///
  /// Raises "Hardware sample rate is 0.0 after activating session and initializing AU", and what `stop`,
  /// `initializeAU`, `outputHardwareFormat`, `setOutputClientFormat` and `OVIOUnit::start` raise. The tone is then
  /// stopped; if `stop` failed, nothing has changed.
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
