// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// A side of the audio hardware.
enum class Side { input, output };

/// A run of one I/O unit.
struct UnitRun {
  /// The sides of the hardware that it uses.
  bool input = false;
  bool output = false;
  /// The class prints on standard output, so a signal must end a write that waits for its reader.
  bool classPrints = false;
  /// What the run does, for a message: "playing a tone on ...".
  std::string activity = {};
  /// The path of the file that it records to; empty if it records none.
  std::string recording = {};
  /// The device time after which the run ends; without it the run lasts until its input ends or a signal arrives.
  std::optional<double> seconds;
};

/// The rate in hertz of the frames that measure device time. Both sides have one clock.
double deviceRate(const platform::DeviceReport& report, const UnitRun& run);

/// Sets the unit up with `options`, starts it, waits for the end of the run, stops and releases it. Says on standard
/// error what runs (if that is a terminal and the run would otherwise print nothing) and what was recorded. A failure
/// of the library becomes the outcome. `unit` is the only reference, so its files are complete on return.
Outcome runUnit(const Invocation& invocation, const UnitRun& run, const UnitOptions& options,
                std::shared_ptr<OVIOUnit> unit);

}  // namespace orvane::tool
