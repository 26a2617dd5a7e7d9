// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"

/// Passes the audio input straight to the audio output, through one unit and without buffers of its own: the unit
/// renders what was captured into the output's buffers.
///
/// Both client sides run at the hardware input's rate, with the channels of the side that has fewer; the unit converts
/// from there to the output hardware. Where a render fails its status goes back to the unit, which plays silence.
class ORVANE_EXPORT AOPlaythru : public OVIOUnit {
 public:
  static std::shared_ptr<AOPlaythru> init();
  ~AOPlaythru() override;

  /// Makes the unit with input and output enabled.
  void lazyInit() override;

  /// Starts passing the input on, in the hardware's formats of now. A play-through that runs is stopped first.
  ///
  /// Raises what `stop`, `initializeAU`, the formats and `OVIOUnit::start` raise. The unit then does not run, unless it
  /// was `stop` that failed: then nothing has changed.
  void start() override;

 protected:
  AOPlaythru();
};
