// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/SettingsCheck.h"
#include "platform/EventLoop.h"
#include "platform/Platform.h"
#include "platform/Status.h"
#include "platform/host/Host.h"
#include "platform/host/midi/MidiInventory.h"
#include "platform/simulated/midi/MidiScenario.h"
#include "platform/simulated/midi/SimulatedMidi.h"
#include "platform/simulated/scenario/FaultPlan.h"

namespace orvane {

namespace {

using platform::MidiObjectRef;

/// More events only take longer.
constexpr std::size_t maxEventsToRun = 100;

void checkSettings(const simulated::MidiSettings& settings) {
  std::uint32_t number = 0;
  for (const backend::MidiObject& object : settings.objects) {
    fuzz::require(object.ref == static_cast<MidiObjectRef>(++number) && object.parent < object.ref);
  }
  fuzz::require(number <= simulated::MidiSettings::maxObjects);
  fuzz::require(std::ranges::is_sorted(settings.events, {}, &simulated::MidiEventSetting::at));
  for (const auto& event : settings.events) {
    fuzz::require(static_cast<std::uint32_t>(event.object) <= number && event.at >= platform::HostTime::zero());
  }
  host::MidiInventory inventory;
  inventory.update(settings.objects);
  using List = host::MidiInventory::List;
  for (const List list : {List::devices, List::externalDevices, List::sources, List::destinations}) {
    for (std::uint32_t i = 0; i < inventory.count(list); ++i) {
      fuzz::require(static_cast<std::uint32_t>(inventory.at(list, i)) <= number);
    }
  }
}

/// Lets the events happen in simulated time. Every one must be announced, and leave an inventory that can be read.
void runEvents(simulated::MidiSettings settings) {
  const std::size_t events = settings.events.size();
  const auto context = std::make_shared<host::HostContext>(host::HostContext::Pace::fast);
  const auto faults = std::make_shared<simulated::FaultPlan>(std::vector<simulated::Fault>(), context->scheduler);
  settings.played.clear();
  settings.capture.reset();
  const platform::Platform services = host::makeHost(
      context, {.hostName = "fuzzed",
                .audio = nullptr,
                .midi = std::make_unique<simulated::SimulatedMidi>(std::move(settings), context, faults, true)});
  std::size_t announced = 0;
  const auto count = [&](const platform::MidiNotification&) {
    ++announced;
    for (std::uint32_t i = 0; i < services.midi->numberOfSources(); ++i) {
      platform::Value dictionary;
      services.midi->properties(services.midi->source(i), dictionary);
    }
    if (announced == events) services.eventLoop->stop();
  };
  platform::MidiObjectRef client{};
  fuzz::require(services.midi->createClient("fuzzed", count, client) == platform::status::success);
  if (events > 0) services.eventLoop->run();
  fuzz::require(announced == events);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    simulated::MidiSettings settings = simulated::parseMidiInventory(text, "midi=a.json", "folder");
    checkSettings(settings);
    if (settings.events.size() <= maxEventsToRun) runEvents(std::move(settings));
  } catch (const platform::PlatformException& refusal) {
    fuzz::require(refusal.reason().starts_with("midi=a.json: "));
  }
  return 0;
}

}  // namespace orvane
