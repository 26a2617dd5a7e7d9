#include "platform/simulated/SimulatedHost.h"

#include <memory>
#include <utility>

#include "platform/host/Host.h"
#include "platform/simulated/RefusingFiles.h"
#include "platform/simulated/RefusingSessions.h"
#include "platform/simulated/RefusingUnits.h"
#include "platform/simulated/device/SimulatedDevice.h"
#include "platform/simulated/device/SpeakerFile.h"
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
  if (parsed.scenario && settings.speaker && isSpeakerFile(settings.speaker->value))
    keepFromSpeaker(*parsed.scenario, "the scenario", *settings.speaker);

  host::Foundation foundation = host::makeFoundation(settings.fastPace && settings.fastPace->value);
  const auto faults = std::make_shared<FaultPlan>(std::move(scenario.faults), foundation.scheduler);
  foundation.files.diskIsFull = [faults] { return faults->isInForce(Fault::Kind::diskFull); };
  platform::Platform platform =
      host::makeHost(foundation, std::make_unique<SimulatedDevice>(settings, foundation.files, faults));

  // What refuses nothing stays out of the way.
  if (!faults->faults().empty()) {
    platform.units = std::make_shared<RefusingUnits>(platform.units, faults);
    platform.convertingFiles = std::make_shared<RefusingFiles>(platform.convertingFiles, faults);
  }
  if (scenario.session != SessionRefusals()) {
    platform.sessions = std::make_shared<RefusingSessions>(platform.sessions, std::move(scenario.session));
  }
  return platform;
}

}  // namespace orvane::simulated
