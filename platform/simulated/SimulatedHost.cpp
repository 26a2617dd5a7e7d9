// SPDX-License-Identifier: MIT
#include "platform/simulated/SimulatedHost.h"

#include <memory>
#include <utility>

#include "platform/host/Host.h"
#include "platform/host/HostContext.h"
#include "platform/simulated/device/DeviceSettings.h"
#include "platform/simulated/device/SimulatedDevice.h"
#include "platform/simulated/scenario/FaultPlan.h"
#include "platform/simulated/scenario/Scenario.h"
#include "platform/simulated/scenario/SimulatedOptions.h"

namespace orvane::simulated {

platform::Platform makeSimulatedHost(std::string_view options) {
  SimulatedOptions parsed = parseSimulatedOptions(options);
  Scenario scenario;
  if (parsed.scenario) scenario = readScenario(*parsed.scenario);
  DeviceSettings& settings = parsed.device;
  settings.fillFrom(scenario.device);

  using Pace = host::HostContext::Pace;
  const bool isFast = settings.fastPace && settings.fastPace->value;
  const auto context = std::make_shared<host::HostContext>(isFast ? Pace::fast : Pace::real);
  if (scenario.file) context->inputFiles.push_back(std::move(scenario.file));
  const auto faults = std::make_shared<FaultPlan>(std::move(scenario.faults), context->scheduler);
  // Without faults the gate has no function to call, so asking it costs nothing.
  if (!faults->faults().empty()) {
    context->gate->setDecision([faults](std::string_view call) { return faults->refusal(call); });
    context->diskIsFull = [faults] { return faults->isInForce(Fault::Kind::diskFull); };
  }
  return host::makeHost(context, {.hostName = "simulated",
                                  .audio = std::make_unique<SimulatedDevice>(settings, context, faults),
                                  .midi = nullptr});
}

}  // namespace orvane::simulated
