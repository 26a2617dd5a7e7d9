// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"
#include "platform/Export.h"

namespace orvane {
class MeterInputHandler;
}

/// A level meter. Prints the level of the audio input on standard output, with one bar of up to 40 characters per
/// channel; 40 characters are full scale.
///
/// `start` sets the input client format to the hardware's rate and channel count. At the first slice (block of one
/// device callback) and at every eighth slice after it, a line is printed that ends with a carriage return, so that a
/// terminal redraws the bars in place. Printing is done on the device callback although it is not real-time safe: it
/// blocks while the reader of standard output is slow. If rendering the input fails, "Error STATUS while rendering in
/// Meter" is printed on standard error and the process aborts.
///
/// `stop` is inherited. The thread rules are those of `OVIOUnit`.
class ORVANE_EXPORT AOMeter : public OVIOUnit {
 public:
  /// Creates a meter. Its I/O unit is created when it is first needed.
  static std::shared_ptr<AOMeter> init();
  ~AOMeter() override;

  /// Creates the unit, with input enabled and output disabled. Raises the exceptions of `OVIOUnit::lazyInit`.
  void lazyInit() override;

  /// Starts the meter with all levels at 0, stopping it first if it is running.
  ///
  /// Raises the exceptions of `stop`, `initializeAU`, `inputHardwareFormat`, `setInputClientFormat` and
  /// `OVIOUnit::start`. After an exception the meter is stopped, except that an exception of `stop` leaves its state
  /// unchanged.
  void start() override;

 protected:
  AOMeter();

 private:
  std::unique_ptr<orvane::MeterInputHandler> mInputHandler;
};
