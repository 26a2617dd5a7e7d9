// SPDX-License-Identifier: MIT
#include "tools/orvane/RunCommand.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "platform/UnitService.h"
#include "tools/orvane/AudioRun.h"
#include "tools/orvane/Numbers.h"

namespace orvane::tool {

RunCommand::RunCommand(CLI::App& parent, const RunKind& kind)
    : Command(parent, kind.name, kind.description), mKind(kind) {
  if (kind.declare != nullptr) kind.declare(options(), mSettings);
  mUnit.declare(options());
  // With the upper bound of about thirty years, frame counts are exact.
  addSeconds(options(), mSeconds);
  options().footer(kind.footer);
}

namespace {

/// An I/O unit that a run starts and stops.
class UnitSubject final : public RunSubject {
 public:
  /// `unit` must be the only reference to the unit, so that its files are complete after `release`.
  UnitSubject(const Invocation& invocation, const RunKind& kind, const UnitOptions& options,
              std::shared_ptr<OVIOUnit> unit)
      : mUnits(invocation.host.units), mKind(kind), mOptions(options), mUnit(std::move(unit)) {}

  void prepare() override { mOptions.applyTo(*mUnit); }
  void start() override { mUnit->start(); }
  void stop() override { mUnit->stop(); }
  void release() override { mUnit.reset(); }
  ClientSide client() const override {
    ClientSide client;
    if (mKind.usesInput) client.input = mUnit->inputClientFormat();
    if (mKind.usesOutput) client.output = mUnit->outputClientFormat();
    client.latency = mUnits->latency(mUnit->audioUnit());
    return client;
  }

 private:
  const std::shared_ptr<platform::UnitService> mUnits;
  const RunKind& mKind;
  const UnitOptions& mOptions;
  std::shared_ptr<OVIOUnit> mUnit;
};

}  // namespace

Outcome RunCommand::run(const Invocation& invocation) {
  const platform::DeviceReport& report = *invocation.host.deviceReport;
  const AudioRun run{.input = mKind.usesInput,
                     .output = mKind.usesOutput,
                     .playsInput = mKind.usesInput && mKind.usesOutput,
                     .classPrints = mKind.classPrints,
                     .activity = mKind.activity(mSettings, report.hostName()),
                     .recording = mSettings.path,
                     .seconds = mSeconds};
  UnitSubject subject(invocation, mKind, mUnit, mKind.make(mSettings, report));
  return perform(invocation, run, subject);
}

}  // namespace orvane::tool
