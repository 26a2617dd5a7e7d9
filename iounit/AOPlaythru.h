// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"

/// Plays the audio input on the audio output. The unit renders captured input into the output's buffers; nothing else
/// is buffered.
///
/// `start` sets both client formats to the input hardware's rate and the smaller of the two channel counts; the unit
/// converts to the output hardware. If a render fails, that slice is silent. `UnitService::latency` gives the latency
/// added by the conversion.
///
/// `stop` is inherited. Thread rules are those of `OVIOUnit`.
class ORVANE_EXPORT AOPlaythru : public OVIOUnit {
 public:
  /// Makes a play-through; its unit is made when it is first needed.
  static std::shared_ptr<AOPlaythru> init();
  ~AOPlaythru() override;

  /// Makes the unit with input and output enabled. Raises what `OVIOUnit::lazyInit` raises.
  void lazyInit() override;

  /// Starts playing the input, in the current formats of the hardware. Stops first if it is running.
  ///
  /// Raises what `stop`, `initializeAU`, the hardware formats, the setters of the client formats and `OVIOUnit::start`
  /// raise. The unit is then stopped; if `stop` failed, nothing has changed.
  void start() override;

 protected:
  AOPlaythru();
};
