// SPDX-License-Identifier: MIT
#include "tools/orvane/RunCommand.h"

#include <CLI/CLI.hpp>

#include "tools/orvane/Numbers.h"
#include "tools/orvane/UnitRun.h"

namespace orvane::tool {

RunCommand::RunCommand(CLI::App& parent, const RunKind& kind)
    : Command(parent, kind.name, kind.description), mKind(kind) {
  if (kind.declare != nullptr) kind.declare(options(), mSettings);
  mUnit.declare(options());
  // With the upper bound of about thirty years, frame counts are exact.
  addNumber(options(), {"--seconds", "S", 1e-6, 1e9, "seconds, from 0.000001 to 1000000000"}, mSeconds,
            "End after exactly this much device time, rounded up to a frame");
  options().footer(kind.footer);
}

Outcome RunCommand::run(const Invocation& invocation) {
  const platform::DeviceReport& report = *invocation.host.deviceReport;
  const UnitRun run{.input = mKind.usesInput,
                    .output = mKind.usesOutput,
                    .classPrints = mKind.classPrints,
                    .activity = mKind.activity(mSettings, report.hostName()),
                    .recording = mSettings.path,
                    .seconds = mSeconds};
  return runUnit(invocation, run, mUnit, mKind.make(mSettings, report));
}

}  // namespace orvane::tool
