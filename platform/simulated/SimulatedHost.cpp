// SPDX-License-Identifier: MIT
#include "platform/simulated/SimulatedHost.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/host/Host.h"
#include "platform/host/HostContext.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/files/RegularFile.h"
#include "platform/simulated/device/DeviceSettings.h"
#include "platform/simulated/device/SimulatedDevice.h"
#include "platform/simulated/device/SpeakerFile.h"
#include "platform/simulated/midi/MidiScenario.h"
#include "platform/simulated/midi/MidiSettings.h"
#include "platform/simulated/midi/SimulatedMidi.h"
#include "platform/simulated/scenario/FaultPlan.h"
#include "platform/simulated/scenario/Scenario.h"
#include "platform/simulated/scenario/SimulatedOptions.h"

namespace orvane::simulated {

namespace {

/// Returns the settings of MIDI: those of `midi=`, of the scenario, or the default ones, with `midi-in=` and
/// `midi-capture=` applied. Reads and checks all files; `claims` become claims on those that stay in use.
MidiSettings midiSettings(const SimulatedOptions& options, std::optional<MidiSettings> scenario,
                          std::vector<std::shared_ptr<const host::ReadClaim>>& claims) {
  MidiSettings settings = scenario ? *std::move(scenario) : defaultMidiSettings();
  if (options.midi) settings = readMidiInventory(*options.midi, claims.emplace_back());
  if (options.midiInput) playFirstSource(settings, *options.midiInput);
  loadPlayedFiles(settings);
  for (const PlayedSource& each : settings.played) {
    if (auto file = host::openToRead(each.path.value)) {
      claims.push_back(std::make_shared<const host::ReadClaim>(std::move(*file), "the file of a MIDI source"));
    }
  }
  if (options.midiCapture) settings.capture = options.midiCapture;
  if (settings.capture) checkWritableFile(*settings.capture, "the MIDI capture");
  return settings;
}

}  // namespace

platform::Platform makeSimulatedHost(std::string_view options) {
  SimulatedOptions parsed = parseSimulatedOptions(options);
  Scenario scenario;
  if (parsed.scenario) scenario = readScenario(*parsed.scenario);
  DeviceSettings& settings = parsed.device;
  settings.fillFrom(scenario.device);
  std::vector<std::shared_ptr<const host::ReadClaim>> claims;
  if (scenario.file) claims.push_back(std::move(scenario.file));
  MidiSettings midi = midiSettings(parsed, std::move(scenario.midi), claims);

  using Pace = host::HostContext::Pace;
  const bool isFast = settings.fastPace && settings.fastPace->value;
  const auto context = std::make_shared<host::HostContext>(isFast ? Pace::fast : Pace::real);
  context->inputFiles = std::move(claims);
  const auto faults = std::make_shared<FaultPlan>(std::move(scenario.faults), context->scheduler);
  // Without faults the gate has no function to call, so asking it costs nothing.
  if (!faults->faults().empty()) {
    context->gate->setDecision([faults](std::string_view call) { return faults->refusal(call); });
    context->diskIsFull = [faults] { return faults->isInForce(Fault::Kind::diskFull); };
  }
  return host::makeHost(context, {.hostName = "simulated",
                                  .audio = std::make_unique<SimulatedDevice>(settings, context, faults),
                                  .midi = std::make_unique<SimulatedMidi>(std::move(midi), context, faults, isFast)});
}

}  // namespace orvane::simulated
