// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// A side of the audio hardware.
enum class Side { input, output };

/// The properties of a command that starts a unit and lets it run.
struct UnitRun {
  /// Which sides of the hardware it uses.
  bool input = false;
  bool output = false;
  /// The class prints on standard output, so that a signal must end a write that waits for its reader.
  bool classPrints = false;
  /// The path of the file that it records to; empty if it records none.
  std::string recording = {};
  /// The device time after which the run ends; nothing lets it run until its input ends or a signal comes.
  std::optional<double> seconds;
};

/// Declares --seconds.
void addSeconds(CLI::App& options, std::optional<double>& seconds);

/// The rate in which device time is counted; one clock runs both sides.
double deviceRate(const platform::DeviceReport& report, const UnitRun& run);

/// Sets the unit up as `options` say, starts it, waits for the end of the run, stops and releases it, and says on
/// standard error what was recorded. Failures of the library become the outcome. Nobody else holds the unit, so its
/// files are complete on return.
Outcome runUnit(const Invocation& invocation, const UnitRun& run, const UnitOptions& options,
                std::shared_ptr<OVIOUnit> unit);

}  // namespace orvane::tool
