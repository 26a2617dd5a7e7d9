// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"

namespace orvane {
class MeterInputHandler;
}

/// Prints the level of the audio input to standard output, as one bar of 40 characters a channel; a full bar is full
/// scale.
///
/// `start` sets the input client format to the hardware's rate and channel count. The first and every eighth slice
/// after it print a line that ends with a carriage return, so that a terminal redraws the bars in place. Printing
/// happens on the device callback and is the one part of it that is not real-time safe: it waits while the reader of
/// standard output is slow. If rendering fails there, "Error STATUS while rendering in Meter" is printed to standard
/// error and the process ends abnormally.
///
/// `stop` is inherited; the levels stay until the next start. Thread rules are those of `OVIOUnit`.
class ORVANE_EXPORT AOMeter : public OVIOUnit {
 public:
  /// Makes a meter; its unit is made when it is first needed.
  static std::shared_ptr<AOMeter> init();
  ~AOMeter() override;

  /// Makes the unit with input enabled and output disabled. Raises what `OVIOUnit::lazyInit` raises.
  void lazyInit() override;

  /// Starts metering with all levels at 0. Stops the meter first if it is running.
  ///
  /// Raises what `stop`, `initializeAU`, `inputHardwareFormat`, `setInputClientFormat` and `OVIOUnit::start` raise. The
  /// meter is then stopped; if `stop` failed, nothing has changed.
  void start() override;

 protected:
  AOMeter();

 private:
  std::unique_ptr<orvane::MeterInputHandler> mInputHandler;
};
