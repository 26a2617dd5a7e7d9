// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"

namespace orvane {
class MeterInputHandler;
}

/// Shows the level of the audio input live on standard output, as one bar of 40 characters a channel.
///
/// The input is metered at the hardware's rate and channel count; the input client format is set to match. Every eighth
/// slice prints a line that ends in a carriage return, so that the bars redraw in place. A render failure on the device
/// callback prints "Error <status> while rendering in Meter" on standard error and ends the process abnormally.
class ORVANE_EXPORT AOMeter : public OVIOUnit {
 public:
  static std::shared_ptr<AOMeter> init();
  ~AOMeter() override;

  /// Makes the unit with input enabled and output disabled.
  void lazyInit() override;

  /// Starts metering with fresh levels. A meter that runs is stopped first.
  ///
  /// Raises what `stop`, `initializeAU`, the formats and `OVIOUnit::start` raise. The unit then does not run, unless it
  /// was `stop` that failed: then nothing has changed. `stop` is inherited and keeps the levels.
  void start() override;

 protected:
  AOMeter();

 private:
  std::unique_ptr<orvane::MeterInputHandler> mInputHandler;
};
