// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"
#include "iounit/dsp/SineWaveGenerator.h"
#include "platform/Export.h"

/// A test tone: plays a continuous sine on two channels of the audio output. By default the right channel's frequency
/// is 1.5 times the left channel's, a perfect fifth above.
///
/// The setters of the properties accept any value and take effect at the next `start`. `stop` is inherited. The thread
/// rules are those of `OVIOUnit`.
class ORVANE_EXPORT OVTestTone : public OVIOUnit {
 public:
  /// Creates a tone. Its I/O unit is created when it is first needed.
  static std::shared_ptr<OVTestTone> init();
  ~OVTestTone() override;

  /// Returns the left channel's frequency in hertz.
  double frequency() const { return _frequency; }
  /// Sets the left channel's frequency in hertz. The default is 261.
  void setFrequency(double frequency) { _frequency = frequency; }

  /// Returns the linear peak amplitude of both channels; 1 is full scale.
  float amplitude() const { return _amplitude; }
  /// Sets the linear peak amplitude of both channels; 1 is full scale. The default is 0.25.
  void setAmplitude(float amplitude) { _amplitude = amplitude; }

  /// Returns whether the right channel plays the same frequency as the left one.
  bool monotone() const { return _monotone; }
  /// Sets whether the right channel plays the same frequency as the left one. The default is false.
  void setMonotone(bool monotone) { _monotone = monotone; }

  /// Returns the rate set by `setClientSampleRate`.
  double clientSampleRate() const { return _clientSampleRate; }
  /// Sets the sample rate, in hertz, at which the tone is rendered. 0, the default, means the hardware's rate. Any
  /// other rate must be from 1/256 to 256 times the hardware's rate; `start` checks this.
  void setClientSampleRate(double clientSampleRate) { _clientSampleRate = clientSampleRate; }

  /// Starts the tone at the beginning of its period, stopping it first if it is playing. Sets a client format of two
  /// channels.
  ///
  /// Raises "Hardware sample rate is 0.0 after activating session and initializing AU" if the hardware reports no rate,
  /// and the exceptions of `stop`, `initializeAU`, `outputHardwareFormat`, `setOutputClientFormat` and
  /// `OVIOUnit::start`. After an exception the tone is stopped, except that an exception of `stop` leaves its state
  /// unchanged.
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
