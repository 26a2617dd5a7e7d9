// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "iounit/OVIOUnit.h"
#include "platform/DeviceReport.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// The values of options that only some commands have. If an option was not given, the library's default applies.
struct RunSettings {
  std::string path{};                  ///< The file to record to.
  std::optional<double> frequency{};   ///< In hertz.
  std::optional<double> amplitude{};   ///< 0 to 1.
  std::optional<double> clientRate{};  ///< In hertz.
  bool monotone = false;
};

/// The description of a command that runs an I/O unit. It contains everything in which these commands differ.
struct RunKind {
  const char* name;
  const char* description;
  const char* footer;  ///< The end of the help text.
  bool usesInput;
  bool usesOutput;
  bool classPrints;  ///< Whether the unit's class prints on standard output.
  /// Adds the command's own options to the parser; given options set `settings`. Null if the command has no own
  /// options.
  void (*declare)(CLI::App& options, RunSettings& settings);
  /// Creates the unit without starting it. Throws `ToolError` if the settings do not match the device.
  std::shared_ptr<OVIOUnit> (*make)(const RunSettings& settings, const platform::DeviceReport& report);
  /// Returns what the run does on the host with that name, for use in messages: "recording the input of the simulated
  /// host to a.wav".
  std::string (*activity)(const RunSettings& settings, const std::string& host);
};

/// Returns the descriptions of all commands that run an I/O unit.
std::span<const RunKind> runKinds();

/// A command that runs an I/O unit until --seconds have passed, its input ends or a signal arrives.
class RunCommand final : public Command {
 public:
  /// Creates the command that `kind` describes. `kind` must outlive the command.
  RunCommand(CLI::App& parent, const RunKind& kind);

  Outcome run(const Invocation& invocation) override;
  bool classPrints() const override { return mKind.classPrints; }

 private:
  const RunKind& mKind;
  RunSettings mSettings;
  UnitOptions mUnit;
  std::optional<double> mSeconds;
};

}  // namespace orvane::tool
