// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/Outcome.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// The sides of the audio hardware.
enum class Side { input, output };

/// The description of a run of one I/O unit.
struct UnitRun {
  bool input = false;   ///< Whether the run uses the hardware's input.
  bool output = false;  ///< Whether the run uses the hardware's output.
  /// Whether the unit's class prints on standard output. If so, a signal that ends the run must also interrupt a
  /// blocked write.
  bool classPrints = false;
  /// Describes what the run does, for use in messages: "playing a tone on ...".
  std::string activity = {};
  /// The path of the file to which the run records; empty if it does not record.
  std::string recording = {};
  /// The device time, in seconds, after which the run ends. If empty, the run ends when its input ends or a signal
  /// arrives.
  std::optional<double> seconds;
};

/// Runs the unit to completion: applies `options`, starts the unit, waits for the end of the run, stops and releases
/// the unit, and returns the outcome. Prints on standard error what the run does (if this is a terminal and the run
/// prints nothing else) and what was recorded. An exception of the library becomes the outcome's failure. `unit` must
/// be the only reference to the unit, so that its files are complete on return.
Outcome runUnit(const Invocation& invocation, const UnitRun& run, const UnitOptions& options,
                std::shared_ptr<OVIOUnit> unit);

}  // namespace orvane::tool
