#pragma once

#include <CLI/CLI.hpp>
#include <optional>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// Which way a command's sound goes.
enum class Side { input, output };

/// What there is to know of a command that starts a unit and lets it run.
struct UnitRun {
  const char* command = "";
  Side side = Side::input;
  /// The class prints on standard output, so that the closing JSON object goes to standard error.
  bool classPrints = false;
  /// The device time after which the run ends; nothing lets it run until its input ends or a signal comes.
  std::optional<double> seconds;
};

/// Declares --seconds.
void addSeconds(CLI::App& options, std::optional<double>& seconds);

/// Raises that the host has no hardware for `side`, where it has none.
void requireHardware(const platform::Report& report, Side side);

/// Sets the unit up as `options` say, starts it, waits for the end of the run, stops it, and reports: the reason of a
/// failure, and the closing JSON object where one is wanted. Failures of the library end here, not in the caller.
ExitStatus runUnit(const Invocation& invocation, const UnitRun& run, const UnitOptions& options, OVIOUnit& unit);

}  // namespace orvane::tool
