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

namespace orvane::tool {

/// Settings that only some commands take. Those that the command line does not give keep the library's default.
struct RunSettings {
  std::string path{};                  ///< The file to record to.
  std::optional<double> frequency{};   ///< In hertz.
  std::optional<double> amplitude{};   ///< 0 to 1.
  std::optional<double> clientRate{};  ///< In hertz.
  bool monotone = false;
};

/// The differences between one command that runs an I/O unit and the next.
struct RunKind {
  const char* name;
  const char* description;
  const char* footer;  ///< The end of the help text.
  bool usesInput;
  bool usesOutput;
  bool classPrints;  ///< The unit's class prints on standard output.
  /// Declares the options that set `settings`; null if there are none.
  void (*declare)(CLI::App& options, RunSettings& settings);
  /// Makes the unit, not started yet. Throws `ToolError` for settings that do not fit the device.
  std::shared_ptr<OVIOUnit> (*make)(const RunSettings& settings, const platform::DeviceReport& report);
  /// Says what the run does on the host of that name: "recording the input of the simulated host to a.wav".
  std::string (*activity)(const RunSettings& settings, const std::string& host);
};

/// Every command that runs an I/O unit.
std::span<const RunKind> runKinds();

/// A command that runs an I/O unit until --seconds have passed, its input ends or a signal arrives.
class RunCommand final : public Command {
 public:
  /// `kind` outlives the command.
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
