#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// A side of the audio hardware.
enum class Side { input, output };

/// What there is to know of a command that starts a unit and lets it run.
struct UnitRun {
  const char* command = "";
  /// Which sides of the hardware it uses.
  bool input = false;
  bool output = false;
  /// The class prints on standard output, so that the closing JSON object goes to standard error.
  bool classPrints = false;
  /// The device time after which the run ends; nothing lets it run until its input ends or a signal comes.
  std::optional<double> seconds;
};

/// Declares --seconds.
void addSeconds(CLI::App& options, std::optional<double>& seconds);

/// The rate in which device time is counted; one clock runs both sides.
double deviceRate(const platform::DeviceReport& report, const UnitRun& run);

/// Sets the unit up as `options` say, starts it, waits for the end of the run, stops and releases it, and reports: the
/// reason of a failure, what was recorded, and the closing JSON object where one is wanted. Failures of the library end
/// here, not in the caller. Nobody else holds the unit, so that its files are complete when this returns.
ExitStatus runUnit(const Invocation& invocation, const UnitRun& run, const UnitOptions& options,
                   std::shared_ptr<OVIOUnit> unit);

}  // namespace orvane::tool
